// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "streamsource.h"
#include "targetlook.h"

#include <QObject>

class QPushButton;

// All that the three actions would act on at this moment.
struct ActionState
{
    bool isSelected = false;
    StreamSource stream;
    QString copySource; // address; empty for a flow, which cannot be copied
    QString target;     // the target box's text
    QString refusal;    // why no stream file can be made; empty when it can
};

// The paths that the actions write to, as they are given to the writers.
QString streamFileOf(const ActionState &state);
QString copyOf(const ActionState &state);

// Tells beforehand, in the tooltips and to screen readers, what each of the three buttons will do,
// and disables the two that make stream files while they would make a wrong one.
class ActionPreview : public QObject
{
    Q_OBJECT
public:
    struct Buttons
    {
        QPushButton *make;
        QPushButton *encrypt;
        QPushButton *localize;
    };

    ActionPreview(const Buttons &buttons, std::function<ActionState()> state, TargetLook *look,
                  QObject *parent);

    // To be called when anything has changed that the state is made of.
    void refresh();

signals:
    // The tooltips are up to date; `target` is what is known of the target folder.
    void refreshed(TargetAnswer target);

protected:
    // Files come and go without the window: a button that is about to be used looks again.
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void show(const ActionState &state, const TargetAnswer &answer);
    QString streamText(const ActionState &state, const TargetAnswer &answer, bool encrypt) const;
    QString copyText(const ActionState &state, const TargetAnswer &answer) const;

    Buttons m_buttons;
    std::function<ActionState()> m_state;
    TargetLook *m_look;
    TargetQuestion m_question;
    TargetAnswer m_answer; // the last one to m_question
};
