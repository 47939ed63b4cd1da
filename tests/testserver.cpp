// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "testserver.h"

TestServer::TestServer(const QString &script, const QStringList &arguments)
{
    m_process.setProgram(PELLORY_PYTHON);
    m_process.setArguments(QStringList(QString(PELLORY_TEST_SERVERS "/") + script) + arguments);
}

TestServer::~TestServer()
{
    // The script takes its folder with it when its input ends; else it is killed.
    m_process.closeWriteChannel();
    m_process.waitForFinished(10'000);
}

bool TestServer::start()
{
    m_process.start();
    m_ready = answer();
    return m_error.isEmpty();
}

bool TestServer::startBehindTls()
{
    if (!start())
        return false;
    m_front.reset(new TestServer("tls_front.py", {"--port", QString::number(port())}));
    m_front->start();
    m_error = m_front->error();
    qputenv("CURL_CA_BUNDLE", m_front->ready()["caFile"].toString().toUtf8());
    const int proxy = m_front->ready()["proxyPort"].toInt();
    qputenv("https_proxy", "http://127.0.0.1:" + QByteArray::number(proxy));
    return m_error.isEmpty();
}

QJsonObject TestServer::command(const QString &op, const QJsonObject &members)
{
    QJsonObject request = members;
    request["op"] = op;
    m_process.write(QJsonDocument(request).toJson(QJsonDocument::Compact) + '\n');
    return answer();
}

bool TestServer::tell(QByteArray commands, const QString &contained)
{
    for (const QJsonValue &value : QJsonDocument::fromJson(commands.replace('\'', '"')).array()) {
        QJsonObject members = value.toObject();
        const QString op = members.take("op").toString("fault");
        if (op == "fault")
            members["contains"] = contained + ' ' + members["contains"].toString();
        command(op, members);
        if (!m_error.isEmpty())
            return false;
    }
    return true;
}

QJsonObject TestServer::answer()
{
    m_error.clear();
    const QDeadlineTimer deadline(60'000);
    while (!m_process.canReadLine() && m_process.waitForReadyRead(int(deadline.remainingTime())))
        continue;
    const QJsonDocument line = QJsonDocument::fromJson(m_process.readLine());
    if (line.isObject() && !line.object().contains("error"))
        return line.object();
    m_error = m_process.arguments().first().toUtf8() + ": " + line["error"].toString().toUtf8() +
              " (" + m_process.errorString().toUtf8() + ")\n" + m_process.readAllStandardError();
    return {};
}

// The same numbers as in servers/common.py.
QByteArray TestServer::content(qint64 offset, int size)
{
    QByteArray bytes(size, '\0');
    for (char &byte : bytes)
        byte = char((quint32(offset++ % 1048573) * 2654435761U) >> 24);
    return bytes;
}
