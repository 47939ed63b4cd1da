// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/http.h"

#include "base/text.h"
#include "net/timelimits.h"

#include <QByteArray>

#include <algorithm>
#include <cstring>
#include <string_view>

namespace hq {

namespace {

constexpr long kMaxRedirects = 5;
constexpr long kBufferSize = 256 * 1024;
constexpr std::size_t kMaxBodyBytes = 32 * 1024 * 1024;
constexpr std::size_t kMaxErrorBodyBytes = 64 * 1024;
constexpr std::size_t kMaxHeadBytes = 256 * 1024;

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
        bundle = qgetenv("CURL_CA_BUNDLE").toStdString();
        if (bundle.empty()) {
            directory = qgetenv("SSL_CERT_DIR").toStdString();
            bundle = qgetenv("SSL_CERT_FILE").toStdString();
        }
    }
};

// A library older than the headers does not know protocols by name, and would follow a redirect
// from https to http.
bool isKnownLibrary()
{
    constexpr unsigned kOldest = CURL_VERSION_BITS(7, 87, 0);
    return curl_version_info(CURLVERSION_NOW)->version_num >= kOldest;
}

bool isEndlessLine(CURLcode result)
{
#if LIBCURL_VERSION_NUM >= 0x080600
    if (result == CURLE_TOO_LARGE)
        return true;
#endif
    return result == CURLE_OUT_OF_MEMORY;
}

template <typename Value>
Value info(CURL *easy, CURLINFO what)
{
    Value value{};
    curl_easy_getinfo(easy, what, &value);
    return value;
}

} // namespace

std::string HttpResponse::header(const char *lowerCaseName) const
{
    const auto found = headers.find(lowerCaseName);
    return found == headers.end() ? std::string() : found->second;
}

std::int64_t HttpResponse::contentLength() const
{
    // A chunked body tells its own length, whatever Content-Length says.
    if (headers.count("transfer-encoding") != 0)
        return -1;
    bool isNumber = false;
    const qint64 value = QByteArray::fromStdString(header("content-length")).toLongLong(&isNumber);
    return isNumber && value >= 0 ? value : -1;
}

HttpTransfer::HttpTransfer(HttpRequest request, BodyCallback sink)
    : m_request(std::move(request)), m_sink(std::move(sink))
{
    m_response.isConditional = m_request.isConditional;
    m_response.context = m_request.context;
    m_response.secrets = m_request.secrets;
}

HttpTransfer::~HttpTransfer()
{
    if (m_client)
        m_client->remove(*this);
}

void HttpTransfer::resume(Clock::time_point deadline)
{
    m_request.deadline = deadline;
    allow(timeLimits().stall);
    if (m_easy)
        curl_easy_pause(m_easy, CURLPAUSE_CONT);
}

void HttpTransfer::allow(std::chrono::milliseconds time)
{
    m_due = std::min(m_request.deadline, Clock::now() + time);
}

bool HttpTransfer::prepare(CURL *easy)
{
    // Never destroyed: threads may still be at work when the process ends.
    static const auto &certificates = *new CertificateSettings;
    static const bool isKnown = isKnownLibrary();
    m_easy = easy;
    m_started = Clock::now();
    allow(timeLimits().connect + timeLimits().firstByte);
    for (const std::string &header : m_request.headers)
        m_headerList = curl_slist_append(m_headerList, header.c_str());

    // The library can refuse an option or not know it. A transfer must not start without those that
    // it needs; others are dropped then.
    bool areKept = true;
    const auto need = [easy, &areKept](CURLoption option, auto value) {
        areKept = curl_easy_setopt(easy, option, value) == CURLE_OK && areKept;
    };
    // curl itself says of an empty address that it is malformed.
    curl_easy_setopt(easy, CURLOPT_URL, m_request.url.c_str());
    need(CURLOPT_PATH_AS_IS, 1L);
    need(CURLOPT_HTTPHEADER, m_headerList);
    need(CURLOPT_PRIVATE, this);
    need(CURLOPT_HEADERFUNCTION, &HttpTransfer::onHeader);
    need(CURLOPT_HEADERDATA, this);
    need(CURLOPT_WRITEFUNCTION, &HttpTransfer::onBody);
    need(CURLOPT_WRITEDATA, this);
    if (m_request.method == "HEAD") {
        need(CURLOPT_NOBODY, 1L);
    } else if (m_request.method == "POST") {
        need(CURLOPT_POST, 1L);
        need(CURLOPT_POSTFIELDS, m_request.body.c_str());
        need(CURLOPT_POSTFIELDSIZE, static_cast<long>(m_request.body.size()));
    }

    need(CURLOPT_PROTOCOLS_STR, "http,https");
    need(CURLOPT_UNRESTRICTED_AUTH, 0L);
    need(CURLOPT_SSL_VERIFYPEER, 1L);
    need(CURLOPT_SSL_VERIFYHOST, 2L);
    need(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
#ifdef _WIN32
    need(CURLOPT_SSL_OPTIONS, static_cast<long>(CURLSSLOPT_NATIVE_CA));
#endif
    if (!certificates.bundle.empty())
        need(CURLOPT_CAINFO, certificates.bundle.c_str());
    if (!certificates.directory.empty())
        need(CURLOPT_CAPATH, certificates.directory.c_str());
    if (m_request.isDirect)
        need(CURLOPT_PROXY, "");
    if (m_request.followRedirects) {
        const bool secure = m_request.url.compare(0, 6, "https:") == 0;
        need(CURLOPT_FOLLOWLOCATION, 1L);
        need(CURLOPT_MAXREDIRS, kMaxRedirects);
        need(CURLOPT_REDIR_PROTOCOLS_STR, secure ? "https" : "http,https");
    }

    need(CURLOPT_NOSIGNAL, 1L);
    need(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    need(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    need(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(timeLimits().connect.count()));
    curl_easy_setopt(easy, CURLOPT_USERAGENT, "Pellory/" PELLORY_VERSION);
    curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L); // a cancel does not wait for a name server
    curl_easy_setopt(easy, CURLOPT_BUFFERSIZE, kBufferSize);
    curl_easy_setopt(easy, CURLOPT_TCP_KEEPALIVE, 1L);
    return isKnown && areKept;
}

void HttpTransfer::finish(CURLcode result)
{
    if (m_isExplained)
        result = CURLE_OK;
    if (m_head != Head::Complete) {
        // curl takes a connection that is closed inside a head for the end of the response.
        if (result == CURLE_OK)
            result = CURLE_RECV_ERROR;
        if (isEndlessLine(result))
            result = CURLE_WRITE_ERROR; // as for a head without an end
        // A redirect is the response only where it is not followed.
        const bool isRedirect =
            result == CURLE_TOO_MANY_REDIRECTS || result == CURLE_UNSUPPORTED_PROTOCOL;
        if (m_head == Head::Open || m_response.status < 200 || !isRedirect) {
            m_response.status = 0;
            m_response.headers.clear();
        }
    }
    m_response.result = result;
    if (m_easy) {
        const auto sent = info<curl_off_t>(m_easy, CURLINFO_PRETRANSFER_TIME_T);
        const auto answered = info<curl_off_t>(m_easy, CURLINFO_STARTTRANSFER_TIME_T);
        const auto proxyStatus = info<long>(m_easy, CURLINFO_HTTP_CONNECTCODE);
        m_response.isOnReusedConnection = info<long>(m_easy, CURLINFO_NUM_CONNECTS) == 0;
        m_response.latencyMicroseconds = static_cast<int>(std::max<curl_off_t>(answered - sent, 0));
        m_response.isFromProxy = m_response.status == 407;
        if (result != CURLE_OK && m_response.status == 0 && proxyStatus >= 300) {
            m_response.result = CURLE_OK; // a proxy's refusal is a response too
            m_response.status = proxyStatus;
            m_response.isFromProxy = true;
        }
    }
    m_done = true;
}

// Ends a transfer whose time is over.
void HttpTransfer::expire(Clock::time_point now)
{
    curl_off_t sent = 0; // microseconds since the start
    if (!m_isSent && m_head != Head::Complete)
        sent = info<curl_off_t>(m_easy, CURLINFO_PRETRANSFER_TIME_T);
    if (sent > 0) {
        m_isSent = true;
        m_due = std::min(m_request.deadline,
                         m_started + std::chrono::microseconds(sent) + timeLimits().firstByte);
    }
    if (now < m_due)
        return;
    const bool isKnownRefusal = m_head == Head::Complete && isRefusal();
    m_client->remove(*this);
    finish(isKnownRefusal ? CURLE_OK : CURLE_OPERATION_TIMEDOUT);
}

std::size_t HttpTransfer::onHeader(char *data, std::size_t, std::size_t size, void *self)
{
    auto *transfer = static_cast<HttpTransfer *>(self);
    HttpResponse &response = transfer->m_response;
    const std::string_view line(data, size);
    if (transfer->m_head == Head::Complete)
        return size; // behind the body
    transfer->m_headBytes += size;
    if (transfer->m_headBytes > kMaxHeadBytes)
        return 0;
    if (transfer->m_head == Head::Awaited) {
        transfer->m_head = Head::Open;
        response.headers.clear();
        response.status = info<long>(transfer->m_easy, CURLINFO_RESPONSE_CODE);
    } else if (line[0] == '\r' || line[0] == '\n') {
        transfer->endHead();
    } else if (const auto colon = line.find(':'); colon != std::string_view::npos) {
        response.headers[lowerCase(std::string(line.substr(0, colon)))] =
            QByteArray(line.data() + colon + 1, static_cast<int>(size - colon - 1))
                .trimmed()
                .toStdString();
    }
    return size;
}

void HttpTransfer::endHead()
{
    const bool isInterim = m_response.status < 200;
    const bool isFollowed = m_request.followRedirects && m_response.status >= 300 &&
                            m_response.status < 400 && !m_response.header("location").empty();
    m_head = isInterim || isFollowed ? Head::Awaited : Head::Complete;
    if (m_head != Head::Complete)
        return;
    m_response.retryAfter = std::chrono::seconds(info<curl_off_t>(m_easy, CURLINFO_RETRY_AFTER));
    allow(isRefusal() ? timeLimits().refusal : timeLimits().stall);
}

std::size_t HttpTransfer::onBody(char *data, std::size_t, std::size_t size, void *self)
{
    auto *transfer = static_cast<HttpTransfer *>(self);
    HttpResponse &response = transfer->m_response;
    if (transfer->m_head != Head::Complete)
        return 0;
    if (transfer->isRefusal()) {
        const std::size_t room = kMaxErrorBodyBytes - response.body.size();
        response.body.append(data, std::min(size, room));
        transfer->m_isExplained = size >= room;
        return transfer->m_isExplained ? 0 : size;
    }
    auto flow = Flow::Continue;
    if (transfer->m_sink)
        flow = transfer->m_sink(data, size);
    else if (response.body.size() + size > kMaxBodyBytes)
        flow = Flow::Abort;
    else
        response.body.append(data, size);
    if (flow == Flow::Abort)
        return 0;
    if (flow == Flow::Pause) {
        transfer->m_due = Clock::time_point::max();
        return CURL_WRITEFUNC_PAUSE;
    }
    transfer->m_request.deadline = Clock::time_point::max();
    transfer->allow(timeLimits().stall);
    return size;
}

} // namespace hq
