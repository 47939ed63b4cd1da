// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtCore>

#include <memory>

// One of the scripts in tests/servers, running as long as the object lives. Works without an
// event loop; one thread. A failure is told by error(), made for QVERIFY2.
class TestServer
{
public:
    explicit TestServer(const QString &script, const QStringList &arguments = {});
    ~TestServer();
    TestServer(const TestServer &) = delete;
    TestServer &operator=(const TestServer &) = delete;

    // Waits up to 60 s for the script's first line; false when it does not come.
    bool start();
    // Behind a TLS front that stands for every host, by the environment's proxy; it is trusted.
    bool startBehindTls();
    // "host:port" of each connection through that front.
    QJsonArray reached() { return m_front->command("targets")["targets"].toArray(); }
    // Ends the script at once, with the connections that it has.
    void kill() { m_process.kill(); }
    // What the script said about itself: ports, keys, files.
    QJsonObject ready() const { return m_ready; }
    int port() const { return m_ready.value("port").toInt(); }

    // Sends {"op": op, ...members} and waits for the response, which is empty on failure.
    QJsonObject command(const QString &op, const QJsonObject &members = {});
    // Sends commands, a JSON list in single quotes; each is the "fault" of a request that holds
    // `contained`, too, if it does not say what else. False when one of them failed.
    bool tell(QByteArray commands, const QString &contained = {});
    // What came since the last call.
    QJsonArray requests() { return command("requests")["requests"].toArray(); }
    // Why the last call failed, with what the script wrote to its standard error; empty when it
    // did not.
    QByteArray error() const { return m_error; }

    // The bytes that the servers generate for an object of a given size.
    static QByteArray content(qint64 offset, int size);

private:
    QJsonObject answer();

    QProcess m_process;
    std::unique_ptr<TestServer> m_front;
    QJsonObject m_ready;
    QByteArray m_error;
};
