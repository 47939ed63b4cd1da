// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "testserver.h"

#include <QDeadlineTimer>
#include <QJsonDocument>

namespace {

const int TimeLimit = 60000;

// The same numbers as in servers/common.py.
const qint64 Period = 1048573;
const quint32 Multiplier = 2654435761U;

} // namespace

TestServer::TestServer(const QString &script, const QStringList &arguments)
{
    m_process.setProgram(PELLORY_PYTHON);
    m_process.setArguments(QStringList(QString(PELLORY_TEST_SERVERS "/") + script) + arguments);
}

TestServer::~TestServer()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    // The script takes its children and its folder with it when its input ends.
    m_process.closeWriteChannel();
    if (m_process.waitForFinished(10000))
        return;
    m_process.kill();
    m_process.waitForFinished();
}

bool TestServer::start()
{
    m_process.start();
    m_ready = answer();
    return m_error.isEmpty();
}

QJsonObject TestServer::command(const QString &op, const QJsonObject &members)
{
    QJsonObject request = members;
    request["op"] = op;
    m_process.write(QJsonDocument(request).toJson(QJsonDocument::Compact) + '\n');
    return answer();
}

QJsonObject TestServer::answer()
{
    m_error.clear();
    const QDeadlineTimer deadline(TimeLimit);
    while (!m_process.canReadLine()) {
        if (m_process.waitForReadyRead(int(deadline.remainingTime())))
            continue;
        m_error = m_process.arguments().first().toUtf8() +
                  " does not answer: " + m_process.errorString().toUtf8() + '\n' +
                  m_process.readAllStandardError();
        return {};
    }
    const QJsonObject object = QJsonDocument::fromJson(m_process.readLine()).object();
    if (!object.contains("error"))
        return object;
    m_error = object.value("error").toString().toUtf8() + '\n' + m_process.readAllStandardError();
    return {};
}

QByteArray TestServer::content(qint64 offset, int size)
{
    static const QByteArray pattern = [] {
        QByteArray bytes(int(Period), '\0');
        for (int i = 0; i < bytes.size(); ++i)
            bytes[i] = char((quint32(i) * Multiplier) >> 24);
        return bytes;
    }();
    QByteArray bytes;
    bytes.reserve(size);
    for (qint64 from = offset % Period; bytes.size() < size; from = 0)
        bytes += pattern.mid(int(from), size - bytes.size());
    return bytes;
}
