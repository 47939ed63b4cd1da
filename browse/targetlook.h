// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "backgroundwork.h"

#include <QList>
#include <QString>
#include <QTimer>

// What is asked about a target folder: is it there, and are files of these names in it? Names that
// are empty are not looked for. The paths are those that are written to.
struct TargetQuestion
{
    QString folder;
    QString streamFile;
    QString copy;

    bool operator==(const TargetQuestion &other) const
    {
        return folder == other.folder && streamFile == other.streamFile && copy == other.copy;
    }
};

struct TargetAnswer
{
    bool isKnown = false; // else nothing below is
    bool isFolder = false;
    bool hasStreamFile = false;
    bool hasCopy = false;
};

// Waits as long as the file system does. Any thread.
TargetAnswer lookAtTarget(const TargetQuestion &question);

// Looks at target folders on the thread pool, one question at a time. A share that is gone can
// hold a look for minutes: after two seconds the answer is that nothing is known, and a folder
// whose look still hangs is not looked at again. GUI thread.
class TargetLook : public QObject
{
    Q_OBJECT
public:
    using Looker = std::function<TargetAnswer(const TargetQuestion &)>;

    explicit TargetLook(BackgroundWork *work, Looker looker = lookAtTarget);

    // Answered by the signal, perhaps at once; a question that is not the last one asked is not
    // answered any more.
    void ask(const TargetQuestion &question);

signals:
    void answered(TargetQuestion question, TargetAnswer answer);

private:
    void begin();
    void take(const TargetQuestion &question, const TargetAnswer &answer);
    void giveUp();

    BackgroundWork *m_work;
    Looker m_looker;
    TargetQuestion m_question; // the last one
    TargetQuestion m_looking;  // that a look waits for
    bool m_isLooking = false;
    bool m_isAsked = false; // since the look began; also the same, for files come and go
    QList<TargetQuestion> m_hanging;
    QTimer m_limit;
};
