// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Whether the error log ever shows a credential:
//   bench_log [ADDRESSES [SEED]]
// makes addresses (200,000) with odd secrets, lets each fail in one of the ways that calls fail in,
// and looks for the secrets in the log. A server on loopback answers with what it was asked. Ends
// with 1 when a line holds one, or when a failed call has left no line.
#include "base/s3address.h"
#include "credentials.h"
#include "hqutil.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QThread>

#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr unsigned kWays = 12;
constexpr unsigned kRefused = 64;

// Begins each piece of each secret, and stands nowhere else.
const char kMark[] = "Sx9Q";

// Refuses all requests and repeats them in its answers, in the forms that servers have.
class EchoServer : public QTcpServer
{
public:
    EchoServer()
    {
        connect(this, &QTcpServer::newConnection, this, [this] {
            QTcpSocket *socket = nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { answer(socket); });
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        });
    }

private:
    void answer(QTcpSocket *socket)
    {
        QByteArray &pending = m_pending[socket];
        pending += socket->readAll();
        if (!pending.endsWith("\r\n\r\n"))
            return;
        QByteArray echo = pending.simplified();
        const bool isHead = echo.startsWith("HEAD");
        pending.clear();
        const QByteArray xml = QString::fromUtf8(echo).toHtmlEscaped().toUtf8();
        const QByteArray json = QByteArray(echo).replace('\\', "\\\\").replace('"', "\\\"");
        const QByteArray bodies[] = {
            "<Error><Code>SignatureDoesNotMatch</Code><Message>" + xml + "</Message></Error>",
            "<Error><Code>" + xml + "</Code></Error>",
            "{\"error\": \"" + json + "\"}",
            "{\"type\": \"denied\", \"summary\": \"" + json + "\"}",
            echo,
        };
        const QByteArray &body = bodies[m_count % 5];
        socket->write(QByteArray("HTTP/1.1 ") + (m_count % 2 ? "403 Forbidden" : "404 Not Found") +
                      "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n");
        if (!isHead)
            socket->write(body);
        ++m_count;
    }

    std::map<QTcpSocket *, QByteArray> m_pending;
    unsigned m_count = 0;
};

class Generator
{
public:
    explicit Generator(unsigned seed) : m_random(seed) {}

    unsigned below(unsigned limit) { return static_cast<unsigned>(m_random() % limit); }

    // Pieces of letters and digits with odd texts around and between them, none of `without`.
    std::string secret(const char *without = "")
    {
        static const std::vector<std::string> kOdd = {"'",
                                                      "\"",
                                                      "<",
                                                      ">",
                                                      " ",
                                                      "@",
                                                      ":",
                                                      "/",
                                                      "\\",
                                                      "?",
                                                      "#",
                                                      "&",
                                                      "=",
                                                      "%",
                                                      "%2F",
                                                      "+",
                                                      ",",
                                                      ";",
                                                      "(",
                                                      "]",
                                                      "{",
                                                      "|",
                                                      "~",
                                                      "@x.y",
                                                      "@x.y'",
                                                      "://",
                                                      "s3://",
                                                      "***",
                                                      "***@",
                                                      "\xc3\xbc",
                                                      "\xe2\x80\xae",
                                                      "\xff",
                                                      "\xc2\x85",
                                                      "\t",
                                                      "token=",
                                                      "user:",
                                                      "a.b"};
        std::string text;
        for (unsigned pieces = 1 + below(3); pieces > 0; --pieces) {
            for (unsigned odd = below(3); odd > 0; --odd) {
                const std::string &one = kOdd[below(kOdd.size())];
                if (one.find_first_of(without) == std::string::npos)
                    text += one;
            }
            text += kMark;
            for (int i = 0; i < 6; ++i)
                text += "abcdefghijklmnopqrstuvwxyz0123456789"[below(36)];
        }
        return text;
    }

    std::string s3()
    {
        const unsigned shape = below(8);
        const std::string secretPart = secret(shape == 0 ? "@" : "");
        std::string text = "s3://AKIA" + std::to_string(below(1000)) + ":" + secretPart;
        switch (shape) {
        case 0:
            return text; // no site
        case 1:
            text += "@ho st.org/b/k";
            return hq::S3Address::parse(text) ? s3() : text;
        case 2:
            return "s3:/" + text.substr(5) + "@h.org/b";
        case 3:
            return text.replace(8, 0, 1, static_cast<char>(1 + below(31))) + "@h.org/b/k";
        default:
            break;
        }
        text += "@127.0.0.1:9/bucket/clip" + std::to_string(below(1000)) + ".mxf";
        // An "@host/" inside a secret ends it, for the program as for a reader.
        const auto parts = hq::S3Address::parse(text);
        if (parts && parts->secret != secretPart)
            return s3();
        return shape == 4 ? front() + text : text;
    }

    std::string web(const char *scheme = nullptr)
    {
        static const char *const kNames[] = {"key",   "auth",  "pwd",   "access_key",
                                             "code",  "jwt",   "hdnts", "X-Amz-Signature",
                                             "token", "other", "~hmac", "limit"};
        static const char *const kSchemes[] = {"http", "http", "HTTP", "tamss", "ftp", "git+ssh"};
        std::string text = front(10) + (scheme ? scheme : kSchemes[below(6)]) + "://";
        const unsigned shape = below(6);
        if (shape < 2)
            text += "user:" + secret() + "@";
        else if (shape == 2)
            text += "DOMAIN\\user:" + secret("?#/\\") + "@";
        else if (shape == 3)
            text += secret("?#/\\:@") + "@";
        text += below(8) ? "h.org:81" : "h:x";
        text += "/path/clip.mxf";
        if (shape == 4)
            text += "/hdnts=exp=1~acl=/*~hmac=" + secret("'\"<> \t&?#");
        if (shape > 3 || below(2)) {
            text += "?v=1";
            for (unsigned values = 1 + below(3); values > 0; --values)
                text += std::string("&") + kNames[below(12)] + "=" + secret("&");
        }
        if (below(8) == 0)
            text += "#access_token=" + secret();
        return isHost(text) ? web() : text;
    }

    // Whether the secret has the host in it, for the program as for a reader: "user:a@x.y/SECRET@".
    static bool isHost(const std::string &text)
    {
        const std::size_t begin = text.find("://") + 3;
        const std::string authority =
            text.substr(begin, text.find_first_of("/\\?#", begin) - begin);
        const std::string host = authority.substr(authority.rfind('@') + 1);
        return hq::siteLength(host, false) != 0 && host != "h.org:81";
    }

    std::string stray()
    {
        const std::string rest = "AKIA1:" + secret() + "@h.org/b/k";
        switch (below(5)) {
        case 0:
            return rest;
        case 3:
            return (below(2) ? "s3//" : "C:/x/s3:") + rest;
        case 1:
            return "//" + rest;
        case 2:
            return "/out\\" + s3() + ".stream";
        default:
            return "s3:\\\\" + rest;
        }
    }

private:
    // Something in front of the address, at times.
    std::string front(unsigned times = 1)
    {
        static const char *const kFronts[] = {" ", "\t", "\"", "<", "\xc2\xa0", "/out/", "x"};
        return below(times) == 0 ? kFronts[below(7)] : "";
    }

    std::mt19937_64 m_random;
};

int goOn(void *, const char *, unsigned int)
{
    return 0;
}

void failIn(unsigned way, const std::string &address)
{
    switch (way) {
    case 0:
        hqOSCopyFile(address.c_str(), "/nowhere/target", 1);
        break;
    case 1:
        hqOSCopyFile("/nowhere/source", address.c_str(), 1);
        break;
    case 2:
        hqOSRecurseDirectory(nullptr, address.c_str(), goOn, HQ_WALK_ONE_LEVEL);
        break;
    case 3:
        ErrOut("ERROR: Unable to open <%s>, error %d 0x%08X ", hq::harmlessAddress(address).c_str(),
               5, 5u);
        break;
    default:
        hqOSCloseFile(hqOSCreateFile(address.c_str(), HQ_ACCESS_READ, 1, nullptr, HQ_OPEN_EXISTING,
                                     0, nullptr));
        break;
    }
}

// All requests go there, whatever their host.
void useProxy(int port)
{
    for (const char *name : {"http_proxy", "https_proxy"})
        qputenv(name, "http://127.0.0.1:" + QByteArray::number(port));
}

struct Figures
{
    unsigned long lines = 0;
    unsigned long bad = 0;
};

// Reads what was logged, and begins the log anew.
void look(const QString &path, Figures *figures)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return;
    for (const QByteArray &line : file.readAll().split('\n')) {
        figures->lines += !line.isEmpty();
        if (line.contains(kMark) && ++figures->bad <= 20)
            std::printf("%s\n", line.constData());
    }
    file.remove();
}

} // namespace

int main(int argc, char **argv)
{
    const unsigned long count = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 200'000;
    const unsigned seed = argc > 2 ? static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)) : 1;
    const QTemporaryDir home;
    for (const char *name :
         {"HOME", "XDG_STATE_HOME", "XDG_CONFIG_HOME", "APPDATA", "LOCALAPPDATA"})
        qputenv(name, home.path().toUtf8());
    const QCoreApplication application(argc, argv);
    ErrLogSetFileName("log");
    const QString log = home.path() + "/Corvane/Pellory/log.log";

    QThread thread;
    EchoServer server;
    if (!server.listen(QHostAddress::LocalHost)) {
        std::fprintf(stderr, "no port\n");
        return 2;
    }
    Generator generator(seed);
    server.moveToThread(&thread);
    thread.start();
    useProxy(server.serverPort());

    Figures figures;
    for (unsigned long i = 0; i < count; ++i) {
        const unsigned kind = generator.below(10);
        const std::string address = kind < 5   ? generator.s3()
                                    : kind < 8 ? generator.web()
                                               : generator.stray();
        failIn(generator.below(kWays), address);
        if (i % 1000 == 999)
            look(log, &figures);
    }
    look(log, &figures);
    // Refused connections are tried again for a while, so these fail side by side.
    QTcpServer closed;
    closed.listen(QHostAddress::LocalHost);
    useProxy(closed.serverPort());
    closed.close();
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < kRefused; ++i) {
        threads.emplace_back([seed, i] {
            Generator own(seed + i);
            failIn(i % kWays, i % 2 ? own.s3() : own.web("https"));
        });
    }
    for (std::thread &one : threads)
        one.join();
    look(log, &figures);
    thread.quit();
    thread.wait();
    std::printf("%lu addresses, %lu lines, %lu with a credential\n", count + kRefused,
                figures.lines, figures.bad);
    return figures.bad > 0 || figures.lines != count + kRefused ? 1 : 0;
}
