// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "targetlook.h"

#include "hqutil.h"

#include <algorithm>

namespace {
constexpr int limitMilliseconds = 2000;
constexpr int maxHanging = 8;
} // namespace

TargetAnswer lookAtTarget(const TargetQuestion &question)
{
    const QByteArray folder = question.folder.toUtf8();
    TargetAnswer answer;
    answer.isKnown = true;
    // Files are written to folders of the file system alone; an address would be asked for.
    if (folder.isEmpty() || hqOSIsNetworkSource(folder.constData()) != 0)
        return answer;
    const auto isThere = [](const QString &path) {
        return !path.isEmpty() && hqOSFileExists(path.toUtf8().constData()) != 0;
    };
    answer.isFolder = hqOSFileIsDir(folder.constData()) != 0;
    answer.hasStreamFile = answer.isFolder && isThere(question.streamFile);
    answer.hasCopy = answer.isFolder && isThere(question.copy);
    return answer;
}

TargetLook::TargetLook(BackgroundWork *work, LookCallback look)
    : m_work(work), m_look(std::move(look))
{
    m_limit.setSingleShot(true);
    m_limit.setInterval(limitMilliseconds);
    connect(&m_limit, &QTimer::timeout, this, &TargetLook::giveUp);
}

void TargetLook::ask(const TargetQuestion &question)
{
    m_question = question;
    m_isAsked = true;
    if (!m_isLooking)
        begin();
}

void TargetLook::begin()
{
    m_isAsked = false;
    const auto hangs = [this](const TargetQuestion &other) {
        return other.folder == m_question.folder;
    };
    if (m_hanging.size() >= maxHanging ||
        std::any_of(m_hanging.cbegin(), m_hanging.cend(), hangs)) {
        emit answered(m_question, TargetAnswer());
        return;
    }
    m_looking = m_question;
    m_isLooking = true;
    m_limit.start();
    const auto look = [this, lookAt = m_look,
                       question = m_looking](const BackgroundWork::Link &link) {
        const TargetAnswer answer = lookAt(question);
        link.post([this, question, answer] { take(question, answer); });
    };
    m_work->start(look, BackgroundWork::Pool::Own);
}

void TargetLook::take(const TargetQuestion &question, const TargetAnswer &answer)
{
    if (question == m_question)
        emit answered(question, answer); // late perhaps, but nobody has asked for another
    if (!m_hanging.removeOne(question)) {
        m_isLooking = false;
        m_limit.stop();
    }
    // Asked again meanwhile, or not answered while it hung.
    if (!m_isLooking && (m_isAsked || !(question == m_question)))
        begin();
}

void TargetLook::giveUp()
{
    m_isLooking = false;
    m_hanging.append(m_looking);
    if (m_looking == m_question)
        emit answered(m_question, TargetAnswer());
    if (!m_isLooking && m_isAsked)
        begin();
}
