// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "actionpreview.h"

#include "addressforms.h"
#include "displaytext.h"
#include "filename.h"
#include "streamfile.h"

#include <QEvent>
#include <QPushButton>

QString streamFileOf(const ActionState &state)
{
    return streamFilePath(state.target, streamBaseName(state.stream));
}

QString copyOf(const ActionState &state)
{
    return withName(state.target, fileNameOnDisk(state.stream.name));
}

ActionPreview::ActionPreview(const Buttons &buttons, std::function<ActionState()> state,
                             TargetLook *look, QObject *parent)
    : QObject(parent), m_buttons(buttons), m_state(std::move(state)), m_look(look)
{
    for (QPushButton *button : {buttons.make, buttons.encrypt, buttons.localize})
        button->installEventFilter(this);
    connect(look, &TargetLook::answered, this,
            [this](const TargetQuestion &question, const TargetAnswer &answer) {
                if (!(question == m_question))
                    return;
                m_answer = answer;
                show(m_state(), answer);
            });
}

void ActionPreview::refresh()
{
    const ActionState state = m_state();
    TargetQuestion question{state.target, {}, {}};
    if (state.isSelected && !state.target.isEmpty()) {
        question.streamFile = streamFileOf(state);
        question.copy = state.copySource.isEmpty() ? QString() : copyOf(state);
    }
    if (!(question == m_question))
        m_answer = TargetAnswer();
    m_question = question;
    show(state, m_answer);
    // A window that nobody sees, as that of a command line, looks at nothing.
    if (m_buttons.make->isVisible())
        m_look->ask(question);
}

bool ActionPreview::eventFilter(QObject *watched, QEvent *event)
{
    const bool isShown = event->type() == QEvent::Show && watched == m_buttons.make;
    if (isShown || event->type() == QEvent::Enter || event->type() == QEvent::FocusIn)
        refresh();
    return QObject::eventFilter(watched, event);
}

void ActionPreview::show(const ActionState &state, const TargetAnswer &answer)
{
    m_buttons.make->setEnabled(state.refusal.isEmpty());
    m_buttons.encrypt->setEnabled(state.refusal.isEmpty());
    QString nothing;
    if (!state.isSelected)
        nothing = tr("Nothing will happen: no file is selected.");
    else if (state.target.isEmpty())
        nothing = tr("Nothing will happen: there is no target folder.");
    else if (answer.isKnown && !answer.isFolder)
        nothing = tr("Nothing will happen: the target %1 is not a folder that is there.")
                      .arg(pathToShow(state.target));
    const auto tell = [&nothing](QPushButton *button, const QString &text) {
        describe(button, nothing.isEmpty() ? text : nothing);
    };
    tell(m_buttons.make, streamText(state, answer, false));
    tell(m_buttons.encrypt, streamText(state, answer, true));
    tell(m_buttons.localize, copyText(state, answer));
    emit refreshed(answer);
}

QString ActionPreview::streamText(const ActionState &state, const TargetAnswer &answer,
                                  bool encrypt) const
{
    if (!state.refusal.isEmpty())
        return state.refusal;
    const QString what = encrypt ? tr("Writes %1, encrypted,\nfor %2") : tr("Writes %1\nfor %2");
    QString there;
    if (!answer.isKnown)
        there = tr("\nWhether a file of this name is already there is unknown.");
    else if (answer.hasStreamFile)
        there = tr("\nA file of this name is already there and will be replaced.");
    return what.arg(pathToShow(streamFileOf(state)), addressToShow(state.stream.address)) + there;
}

QString ActionPreview::copyText(const ActionState &state, const TargetAnswer &answer) const
{
    if (state.copySource.isEmpty())
        return tr("Nothing will happen: a flow cannot be copied.");
    QString there;
    if (!answer.isKnown)
        there = tr("\nWhether a file of this name is already there is unknown.");
    else if (answer.hasCopy)
        there = tr("\nNothing will happen: a file of this name is already there and is kept.");
    return tr("Copies %2\nto %1").arg(pathToShow(copyOf(state)), addressToShow(state.copySource)) +
           there;
}
