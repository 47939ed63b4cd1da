// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/bearertoken.h"

#include "base/configuration.h"
#include "base/text.h"
#include "entryfile.h"
#include "net/failure.h"
#include "net/query.h"
#include "net/resource.h"
#include "stoptoken.h"
#include "tamsentry.h"

#include <QJsonDocument>
#include <QJsonObject>

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
constexpr double kMaxLifetimeSeconds = 30 * 24 * 3600.0;

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

struct Release
{
    void operator()(Repository *target) const
    {
        const std::lock_guard lock(target->mutex);
        target->isHeld = false;
        target->released.notify_one();
    }
};

// Has the repository to itself as long as the result lives; null when the thread is stopped or the
// time is over first. Not a timed mutex, which the thread sanitizer does not see.
std::unique_ptr<Repository, Release> hold(Repository &target, Clock::time_point end)
{
    std::unique_lock lock(target.mutex);
    while (target.isHeld && !isStopped() && Clock::now() < end)
        target.released.wait_for(lock, milliseconds(kStopPollMilliseconds));
    if (target.isHeld || isStopped())
        return nullptr;
    target.isHeld = true;
    return std::unique_ptr<Repository, Release>(&target);
}

// None when the host is not a configured repository.
std::optional<Client> configuredClient(const std::string &host)
{
    if (host.find_first_of("/\\") != std::string::npos)
        return std::nullopt;
    const QString name = QString::fromStdString(host);
    const QString path = tamsEntryPath(QString::fromStdString(configDirectory()), name);
    const QByteArray text = readEntryFile(path.toUtf8()).value_or(QByteArray());
    if (text.isEmpty())
        return std::nullopt;
    QString server =
        configurationValue(tamsSection(name), kTamsServerKey).value_or(QString()).trimmed();
    if (server.isEmpty())
        return std::nullopt;
    if (!server.contains("://"))
        server.prepend("https://");

    const TamsEntry entry = parseTamsEntry(text);
    return Client{server.toStdString(), entry.clientId.toStdString(),
                  entry.clientSecret.toStdString(), entry.scopes.join(' ').toStdString()};
}

QByteArray basicCredentials(const Client &client)
{
    const std::string user =
        percentEncoded(client.id, false) + ":" + percentEncoded(client.secret, false);
    return QByteArray::fromStdString(user).toBase64();
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
        request.isDirect = startsWithNoCase(request.url, "http:"); // to this machine alone
        request.headers = {"Content-Type: application/x-www-form-urlencoded",
                           "Accept: application/json"};
        NameValues form{{"grant_type", "client_credentials"}, {"scope", m_client.scope}};
        if (m_authentication == ClientAuthentication::Basic) {
            request.headers.push_back("Authorization: Basic " +
                                      basicCredentials(m_client).toStdString());
        } else {
            form.emplace_back("client_id", m_client.id);
            form.emplace_back("client_secret", m_client.secret);
        }
        request.body = canonicalQuery(form);
        request.secrets = {m_client.secret, percentEncoded(m_client.secret, false),
                           basicCredentials(m_client).toStdString()};
        return request;
    }
    Adjustment adjust(const HttpResponse &, const Patience &) override { return Adjustment::None; }

private:
    const Client &m_client;
    ClientAuthentication m_authentication;
};

bool refusesBasic(const HttpResponse &response)
{
    if (response.result != CURLE_OK)
        return false;
    const QByteArray body = QByteArray::fromStdString(response.body);
    return response.status == 401 ||
           QJsonDocument::fromJson(body).object()["error"].toString() == "invalid_client";
}

// Scheme or host of the server's address, as those who send the request will read it.
std::string partOf(const Client &client, CURLUPart part)
{
    const std::unique_ptr<CURLU, void (*)(CURLU *)> url(curl_url(), curl_url_cleanup);
    char *text = nullptr;
    std::string result;
    if (url && curl_url_set(url.get(), CURLUPART_URL, client.server.c_str(), 0) == CURLUE_OK &&
        curl_url_get(url.get(), part, &text, 0) == CURLUE_OK)
        result = lowerCase(std::string(text));
    curl_free(text);
    return result;
}

// Secrets go over TLS, or nowhere.
bool isSafe(const Client &client)
{
    return partOf(client, CURLUPART_SCHEME) != "http" || isLoopback(partOf(client, CURLUPART_HOST));
}

// The last error is the token's; whose token, its details tell.
void nameServer(const Client &client)
{
    FailureDetails details = failureDetails();
    const std::string advice =
        "the OAuth2 server " + partOf(client, CURLUPART_HOST) + " gave no token";
    details.advice = details.advice.empty() ? advice : advice + "; " + details.advice;
    setFailureDetails(std::move(details));
}

bool isHeaderText(const std::string &text)
{
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return c > 0x20 && c < 0x7f; });
}

// Sends the credentials as this server was found to take them: where it refuses a header, in the
// body from now on.
bool askForToken(const Client &client, Repository &target, HttpResponse *response,
                 const Patience &patience)
{
    const auto ask = [&](ClientAuthentication authentication) {
        TokenRequest request(client, authentication);
        return perform(request, {}, response, {}, patience);
    };
    if (ask(target.authentication))
        return true;
    if (target.authentication != ClientAuthentication::Basic || !refusesBasic(*response) ||
        !ask(ClientAuthentication::Body))
        return false;
    target.authentication = ClientAuthentication::Body;
    return true;
}

// False when the response holds no token that can be sent.
bool readToken(const HttpResponse &response, Repository &target)
{
    const QJsonObject object =
        QJsonDocument::fromJson(QByteArray::fromStdString(response.body)).object();
    const std::string token = object["access_token"].toString().toStdString();
    if (!isHeaderText(token))
        return false;
    const double told = object["expires_in"].toVariant().toDouble(); // 0 where it does not say
    const std::chrono::duration<double> lifetime(told > 0 ? std::min(told, kMaxLifetimeSeconds)
                                                          : kDefaultLifetimeSeconds);
    const auto life = std::chrono::duration_cast<milliseconds>(lifetime);
    target.token = token;
    target.renewal = Clock::now() + (life > 2 * kRenewBefore ? life - kRenewBefore : life / 2);
    return true;
}

bool fetchToken(const Client &client, Repository &target, const Patience &patience)
{
    if (!isSafe(client)) {
        setLastError(Error::NotSupported);
        setFailureDetails({0, "",
                           "the address of the OAuth2 server " + partOf(client, CURLUPART_HOST) +
                               " must begin with https://"});
        return false;
    }
    HttpResponse response;
    if (askForToken(client, target, &response, patience) &&
        (readToken(response, target) || failWith(response, Error::InvalidServerResponse)))
        return true;
    nameServer(client);
    return false;
}

} // namespace

bool bearerToken(const std::string &host, std::string *token, const Patience &patience)
{
    token->clear();
    const auto target = repository(host);
    const auto held = hold(*target, patience.end());
    if (!held)
        return fail(isStopped() ? Error::Cancelled : Error::TimedOut);
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
        if (!fetchToken(*target->client, *target, patience))
            return false;
    }
    *token = target->token;
    return true;
}

void refuseBearerToken(const std::string &host, const std::string &token, const Patience &patience)
{
    const auto target = repository(host);
    const auto held = hold(*target, patience.end());
    if (held && target->token == token)
        target->token.clear();
}

} // namespace hq
