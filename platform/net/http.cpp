// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/http.h"

#include "transfer.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string_view>

namespace hq {

namespace {

constexpr long kConnectTimeoutMilliseconds = 10'000;
constexpr long kStallSeconds = 30;
constexpr long kMostRedirects = 5;
constexpr long kBufferSize = 256 * 1024;
constexpr long kKeptConnections = 40;
constexpr std::size_t kErrorBodyLimit = 64 * 1024;
constexpr std::size_t kIdleHandles = 40;

// What the curl tool takes from the environment; the system's own store rules where libcurl uses
// it.
struct CertificateSettings
{
    std::string bundle;
    std::string directory;

    CertificateSettings()
    {
        const char *backend = curl_version_info(CURLVERSION_NOW)->ssl_version;
        if (backend && std::strstr(backend, "Schannel"))
            return;
        const auto variable = [](const char *name) {
            const char *value = std::getenv(name);
            return std::string(value ? value : "");
        };
        bundle = variable("CURL_CA_BUNDLE");
        if (bundle.empty()) {
            directory = variable("SSL_CERT_DIR");
            bundle = variable("SSL_CERT_FILE");
        }
    }
};

void initialiseCurl()
{
    static std::once_flag once;
    std::call_once(once, [] {
        curl_global_init(CURL_GLOBAL_DEFAULT);
#ifdef SIGPIPE
        // TLS writes to a connection that the server has closed would end the process.
        std::signal(SIGPIPE, SIG_IGN);
#endif
    });
}

std::string trimmed(std::string_view text)
{
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos)
        return {};
    return std::string(text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1));
}

} // namespace

std::string HttpAnswer::header(const char *lowerCaseName) const
{
    const auto found = headers.find(lowerCaseName);
    return found == headers.end() ? std::string() : found->second;
}

std::int64_t HttpAnswer::contentLength() const
{
    const std::string text = header("content-length");
    std::int64_t value = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() && value >= 0 ? value : -1;
}

std::string HttpAnswer::strongEtag() const
{
    const std::string etag = header("etag");
    return etag.compare(0, 2, "W/") == 0 ? std::string() : etag;
}

Transfer::Transfer(HttpRequest request, Sink sink, std::size_t bodyLimit)
    : m_request(std::move(request)), m_sink(std::move(sink)), m_bodyLimit(bodyLimit)
{
    m_answer.signedRegion = m_request.signedRegion;
    m_answer.clockOffset = m_request.clockOffset;
}

Transfer::~Transfer()
{
    if (m_client)
        m_client->remove(*this);
}

void Transfer::resume()
{
    if (m_easy)
        curl_easy_pause(m_easy, CURLPAUSE_CONT);
}

void Transfer::prepare(CURL *easy)
{
    static const CertificateSettings certificates;
    m_easy = easy;
    for (const std::string &header : m_request.headers)
        m_headerList = curl_slist_append(m_headerList, header.c_str());

    curl_easy_setopt(easy, CURLOPT_URL, m_request.url.c_str());
    curl_easy_setopt(easy, CURLOPT_PATH_AS_IS, 1L);
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, m_headerList);
    curl_easy_setopt(easy, CURLOPT_PRIVATE, this);
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &Transfer::onHeader);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Transfer::onBody);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, this);
    if (m_request.method == "HEAD") {
        curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);
    } else if (m_request.method == "POST") {
        curl_easy_setopt(easy, CURLOPT_POST, 1L);
        curl_easy_setopt(easy, CURLOPT_POSTFIELDS, m_request.body.c_str());
        curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE, static_cast<long>(m_request.body.size()));
    }

    curl_easy_setopt(easy, CURLOPT_USERAGENT, "Pellory/" PELLORY_VERSION);
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L); // a cancel does not wait for a name server
    curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    curl_easy_setopt(easy, CURLOPT_BUFFERSIZE, kBufferSize);
    curl_easy_setopt(easy, CURLOPT_TCP_KEEPALIVE, 1L);
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, kConnectTimeoutMilliseconds);
    curl_easy_setopt(easy, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(easy, CURLOPT_LOW_SPEED_TIME, kStallSeconds);
    curl_easy_setopt(easy, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
#ifdef _WIN32
    curl_easy_setopt(easy, CURLOPT_SSL_OPTIONS, static_cast<long>(CURLSSLOPT_NATIVE_CA));
#endif
    if (!certificates.bundle.empty())
        curl_easy_setopt(easy, CURLOPT_CAINFO, certificates.bundle.c_str());
    if (!certificates.directory.empty())
        curl_easy_setopt(easy, CURLOPT_CAPATH, certificates.directory.c_str());
    if (m_request.followRedirects) {
        const bool secure = m_request.url.compare(0, 6, "https:") == 0;
        curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
        curl_easy_setopt(easy, CURLOPT_MAXREDIRS, kMostRedirects);
        curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, secure ? "https" : "http,https");
    }
}

void Transfer::finish(CURLcode result)
{
    m_answer.result = result;
    if (m_easy) {
        curl_off_t sent = 0;
        curl_off_t answered = 0;
        curl_easy_getinfo(m_easy, CURLINFO_PRETRANSFER_TIME_T, &sent);
        curl_easy_getinfo(m_easy, CURLINFO_STARTTRANSFER_TIME_T, &answered);
        m_answer.latencyMicroseconds = static_cast<int>(std::max<curl_off_t>(answered - sent, 0));
    }
    m_done = true;
}

std::size_t Transfer::onHeader(char *data, std::size_t, std::size_t size, void *self)
{
    auto *transfer = static_cast<Transfer *>(self);
    HttpAnswer &answer = transfer->m_answer;
    const std::string_view line(data, size);
    if (line.substr(0, 5) == "HTTP/") {
        answer.headers.clear();
        curl_easy_getinfo(transfer->m_easy, CURLINFO_RESPONSE_CODE, &answer.status);
    } else if (const auto colon = line.find(':'); colon != std::string_view::npos) {
        std::string name(line.substr(0, colon));
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        answer.headers[name] = trimmed(line.substr(colon + 1));
    } else if (trimmed(line).empty() && answer.status >= 200) {
        const bool redirected = transfer->m_request.followRedirects && answer.status >= 300 &&
                                answer.status < 400 && answer.headers.count("location");
        transfer->m_headersComplete = !redirected;
    }
    return size;
}

std::size_t Transfer::onBody(char *data, std::size_t, std::size_t size, void *self)
{
    auto *transfer = static_cast<Transfer *>(self);
    HttpAnswer &answer = transfer->m_answer;
    if (answer.status < 200 || answer.status >= 300) {
        const std::size_t room = kErrorBodyLimit - std::min(kErrorBodyLimit, answer.body.size());
        answer.body.append(data, std::min(size, room));
        return size;
    }
    if (transfer->m_sink) {
        switch (transfer->m_sink(data, size)) {
        case Flow::Continue:
            return size;
        case Flow::Pause:
            return CURL_WRITEFUNC_PAUSE;
        case Flow::Abort:
            return 0;
        }
    }
    if (answer.body.size() + size > transfer->m_bodyLimit)
        return 0;
    answer.body.append(data, size);
    return size;
}

HttpClient::HttpClient()
{
    initialiseCurl();
    m_multi = curl_multi_init();
    curl_multi_setopt(m_multi, CURLMOPT_MAXCONNECTS, kKeptConnections);
}

HttpClient::~HttpClient()
{
    for (CURL *easy : m_idle)
        curl_easy_cleanup(easy);
    curl_multi_cleanup(m_multi);
}

HttpClient &HttpClient::ofThread()
{
    thread_local HttpClient client;
    return client;
}

void HttpClient::start(Transfer &transfer)
{
    CURL *easy = nullptr;
    if (m_idle.empty()) {
        easy = curl_easy_init();
    } else {
        easy = m_idle.back();
        m_idle.pop_back();
    }
    transfer.m_client = this;
    if (!easy) {
        transfer.finish(CURLE_OUT_OF_MEMORY);
        return;
    }
    transfer.prepare(easy);
    if (curl_multi_add_handle(m_multi, easy) != CURLM_OK)
        transfer.finish(CURLE_FAILED_INIT);
}

void HttpClient::remove(Transfer &transfer)
{
    transfer.m_client = nullptr;
    curl_slist_free_all(transfer.m_headerList);
    transfer.m_headerList = nullptr;
    CURL *easy = transfer.m_easy;
    transfer.m_easy = nullptr;
    if (!easy)
        return;
    curl_multi_remove_handle(m_multi, easy);
    if (m_idle.size() < kIdleHandles) {
        curl_easy_reset(easy);
        m_idle.push_back(easy);
    } else {
        curl_easy_cleanup(easy);
    }
}

void HttpClient::collect()
{
    int left = 0;
    while (const CURLMsg *message = curl_multi_info_read(m_multi, &left)) {
        if (message->msg != CURLMSG_DONE)
            continue;
        const CURLcode result = message->data.result;
        char *owner = nullptr;
        curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &owner);
        auto *transfer = reinterpret_cast<Transfer *>(owner);
        transfer->finish(result);
        remove(*transfer); // the connection is free for the next transfer from here on
    }
}

void HttpClient::step(int milliseconds)
{
    // Waiting comes first: what a perform brings in is looked at by the caller at once.
    if (milliseconds > 0)
        curl_multi_poll(m_multi, nullptr, 0, milliseconds, nullptr);
    int running = 0;
    curl_multi_perform(m_multi, &running);
    collect();
}

void HttpClient::run(Transfer &transfer)
{
    start(transfer);
    while (!transfer.isDone()) {
        if (isStopped()) {
            remove(transfer);
            transfer.finish(CURLE_ABORTED_BY_CALLBACK);
            return;
        }
        step(kStopPollMilliseconds);
    }
}

} // namespace hq
