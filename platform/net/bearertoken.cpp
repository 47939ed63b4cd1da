// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/bearertoken.h"

#include "base/configuration.h"
#include "entryfile.h"
#include "hqutil.h"
#include "net/resource.h"
#include "net/s3signer.h"
#include "transfer.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <tuple>

namespace hq {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds kRenewBefore{30};
constexpr double kDefaultLifetimeSeconds = 3600;
constexpr double kMostLifetimeSeconds = 30 * 24 * 3600.0;
constexpr int kMostErrorText = 200;

enum class ClientAuthentication { Basic, Body };

struct Client
{
    std::string server;
    std::string id;
    std::string secret;
    std::string scope;

    bool operator==(const Client &other) const
    {
        return std::tie(server, id, secret, scope) ==
               std::tie(other.server, other.id, other.secret, other.scope);
    }
};

struct Repository
{
    std::mutex mutex;
    std::condition_variable released;
    bool isHeld = false;          // one thread has what follows to itself
    std::optional<Client> client; // whom the token was given to
    std::string token;
    Clock::time_point renewal;
    ClientAuthentication authentication = ClientAuthentication::Basic;
};

std::shared_ptr<Repository> repository(const std::string &host)
{
    // Never destroyed: threads may still be at work when the process ends.
    static auto *const mutex = new std::mutex;
    static auto *const repositories = new std::map<std::string, std::shared_ptr<Repository>>;
    const std::lock_guard lock(*mutex);
    std::shared_ptr<Repository> &found = (*repositories)[host];
    if (!found)
        found = std::make_shared<Repository>();
    return found;
}

// Has the repository to itself as long as it lives; not when the thread is stopped first. Not a
// timed mutex, which the thread sanitizer does not see.
class RepositoryHold
{
public:
    explicit RepositoryHold(Repository &target) : m_target(target)
    {
        std::unique_lock lock(target.mutex);
        while (target.isHeld && !isStopped())
            target.released.wait_for(lock, milliseconds(kStopPollMilliseconds));
        m_holds = !target.isHeld;
        target.isHeld = true;
    }
    ~RepositoryHold()
    {
        if (!m_holds)
            return;
        const std::lock_guard lock(m_target.mutex);
        m_target.isHeld = false;
        m_target.released.notify_one();
    }
    RepositoryHold(const RepositoryHold &) = delete;
    RepositoryHold &operator=(const RepositoryHold &) = delete;

    explicit operator bool() const { return m_holds; }

private:
    Repository &m_target;
    bool m_holds;
};

QByteArray entryOf(const std::string &host)
{
    char directory[HQ_CONFIG_DIR_SIZE] = {};
    if (host.find_first_of("/\\") != std::string::npos || !hqOSGetConfigDir(directory, 0))
        return {};
    return readEntryFile(QByteArray(directory) + host.c_str() + ".json").value_or(QByteArray());
}

// None when the host is not a configured repository.
std::optional<Client> configuredClient(const std::string &host)
{
    const QByteArray text = entryOf(host);
    if (text.isEmpty())
        return std::nullopt;
    QString section = QString::fromStdString(host);
    while (!section.isEmpty() && section.at(0).isDigit())
        section.remove(0, 1);
    QString server = configurationValue("Tidewell\\OAuth2\\" + section, "oauth2server")
                         .value_or(QString())
                         .trimmed();
    if (server.isEmpty())
        return std::nullopt;
    if (!server.contains("://"))
        server.prepend("https://");

    const QJsonObject entry = QJsonDocument::fromJson(text).object();
    QStringList scopes;
    for (const auto scope : entry["scope"].toArray())
        scopes << scope.toString();
    return Client{server.toStdString(), entry["client_id"].toString().toStdString(),
                  entry["client_secret"].toString().toStdString(), scopes.join(' ').toStdString()};
}

class TokenRequest : public Resource
{
public:
    TokenRequest(const Client &client, ClientAuthentication authentication)
        : m_client(client), m_authentication(authentication)
    {
    }

    HttpRequest request(const RequestOptions &) override
    {
        HttpRequest request;
        request.method = "POST";
        request.url = m_client.server;
        request.headers = {"Content-Type: application/x-www-form-urlencoded",
                           "Accept: application/json"};
        NameValues form{{"grant_type", "client_credentials"}, {"scope", m_client.scope}};
        if (m_authentication == ClientAuthentication::Basic) {
            const std::string user =
                percentEncoded(m_client.id, false) + ":" + percentEncoded(m_client.secret, false);
            request.headers.push_back("Authorization: Basic " +
                                      QByteArray::fromStdString(user).toBase64().toStdString());
        } else {
            form.emplace_back("client_id", m_client.id);
            form.emplace_back("client_secret", m_client.secret);
        }
        request.body = canonicalQuery(form);
        return request;
    }
    bool learn(const HttpAnswer &) override { return false; }

private:
    const Client &m_client;
    ClientAuthentication m_authentication;
};

bool refusesBasic(const HttpAnswer &answer)
{
    if (answer.result != CURLE_OK)
        return false;
    const QByteArray body = QByteArray::fromStdString(answer.body);
    return answer.status == 401 ||
           QJsonDocument::fromJson(body).object()["error"].toString() == "invalid_client";
}

// An authority may repeat what it was sent.
std::string withoutSecret(const std::string &text, const Client &client)
{
    QString result = QString::fromStdString(text);
    for (const std::string &secret : {client.secret, percentEncoded(client.secret, false)}) {
        if (!secret.empty())
            result.replace(QString::fromStdString(secret), "***");
    }
    return result.toStdString();
}

bool isHeaderText(const std::string &text)
{
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return c > 0x20 && c < 0x7f; });
}

bool fetchToken(const std::string &host, const Client &client, Repository &target)
{
    HttpAnswer answer;
    const auto ask = [&] {
        TokenRequest request(client, target.authentication);
        return perform(request, {}, &answer);
    };
    bool given = ask();
    if (!given && target.authentication == ClientAuthentication::Basic && refusesBasic(answer)) {
        target.authentication = ClientAuthentication::Body;
        given = ask();
        if (!given)
            target.authentication = ClientAuthentication::Basic;
    }
    std::string token;
    double lifetime = kDefaultLifetimeSeconds;
    if (given) {
        const QJsonObject object =
            QJsonDocument::fromJson(QByteArray::fromStdString(answer.body)).object();
        token = object["access_token"].toString().toStdString();
        const QVariant expires = object["expires_in"].toVariant();
        if (expires.isValid() && expires.toDouble() > 0)
            lifetime = std::min(expires.toDouble(), kMostLifetimeSeconds);
        if (!isHeaderText(token))
            given = fail(Error::InvalidServerResponse);
    }
    if (!given) {
        const std::uint32_t error = lastError();
        if (!isStopped())
            ErrOut("ERROR: No token for <%s>, error %u, HTTP status %ld, %s", host.c_str(), error,
                   answer.status, withoutSecret(jsonErrorText(answer), client).c_str());
        setLastSystemError(error);
        return false;
    }
    const auto life =
        std::chrono::duration_cast<milliseconds>(std::chrono::duration<double>(lifetime));
    const auto use = life > 2 * kRenewBefore ? life - kRenewBefore : life / 2;
    target.token = token;
    target.renewal = Clock::now() + use;
    return true;
}

} // namespace

bool bearerToken(const std::string &host, std::string *token)
{
    token->clear();
    const auto target = repository(host);
    const RepositoryHold hold(*target);
    if (!hold)
        return fail(Error::Cancelled);
    // The window can change or remove a repository at any time.
    std::optional<Client> client = configuredClient(host);
    if (!(client == target->client)) {
        target->token.clear();
        target->authentication = ClientAuthentication::Basic;
        target->client = std::move(client);
    }
    if (!target->client)
        return true;
    if (target->token.empty() || Clock::now() >= target->renewal) {
        target->token.clear();
        if (!fetchToken(host, *target->client, *target))
            return false;
    }
    *token = target->token;
    return true;
}

void refuseBearerToken(const std::string &host, const std::string &token)
{
    const auto target = repository(host);
    const RepositoryHold hold(*target);
    if (hold && target->token == token)
        target->token.clear();
}

std::string jsonErrorText(const HttpAnswer &answer)
{
    const QJsonObject object =
        QJsonDocument::fromJson(QByteArray::fromStdString(answer.body)).object();
    QStringList parts;
    const auto add = [&parts](const QJsonValue &value) {
        const QString part = value.toString().simplified();
        if (!part.isEmpty())
            parts << part;
    };
    for (const char *name : {"type", "summary"})
        add(object[QLatin1String(name)]);
    // Gateways have forms of their own.
    const QJsonObject error = object["error"].toObject();
    for (const QJsonValue &value : {object["error"], error["code"], error["message"],
                                    object["message"], object["Message"], object["detail"]}) {
        if (parts.isEmpty())
            add(value);
    }
    return parts.join(": ").left(kMostErrorText).toStdString();
}

} // namespace hq
