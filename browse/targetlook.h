// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "backgroundwork.h"

#include <QList>
#include <QString>
#include <QTimer>

// What is asked about a target folder: whether it is there, and whether these two files are. All
// are whole paths, as they are given to the writers; an empty one is not looked for.
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

// What was found at the moment of the look; files come and go.
struct TargetAnswer
{
    bool isKnown = false; // false when the folder did not answer; the others are false then
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
    using LookCallback = std::function<TargetAnswer(const TargetQuestion &)>;

    explicit TargetLook(BackgroundWork *work, LookCallback look = lookAtTarget);

    // The answer comes by the signal, perhaps before this returns. Only the question asked last is
    // answered, and it can be twice: as unknown, and when the folder answers after all.
    void ask(const TargetQuestion &question);

signals:
    void answered(TargetQuestion question, TargetAnswer answer);

private:
    void begin();
    void take(const TargetQuestion &question, const TargetAnswer &answer);
    void giveUp();

    BackgroundWork *m_work;
    LookCallback m_look;
    TargetQuestion m_question; // the last one
    TargetQuestion m_looking;  // that is being looked for
    bool m_isLooking = false;
    bool m_isAsked = false; // a question came since the look began, perhaps the same one again
    QList<TargetQuestion> m_hanging;
    QTimer m_limit;
};
