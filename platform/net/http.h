// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// HTTP and TLS over libcurl: requests with verified TLS, time limits and kept-alive connections.
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace hq {

struct HttpResponse;

// What the maker of a request needs to know again to understand its response.
class RequestContext
{
public:
    virtual ~RequestContext() = default;
    // What may be done about a refusal, for people; empty where nothing is known.
    virtual std::string advice(const HttpResponse &response) const = 0;
};

struct HttpRequest
{
    using Clock = std::chrono::steady_clock;

    std::string method = "GET";
    std::string url;
    std::vector<std::string> headers; // "Name: value"
    std::string body;                 // sent when the method is POST
    bool followRedirects = false;     // credentials stay with the first host
    bool isDirect = false;            // past any proxy
    bool isConditional = false;       // one of the headers makes a server answer 412
    // By when the first byte of a success, or a whole refusal, must have come.
    Clock::time_point deadline = Clock::time_point::max();
    std::shared_ptr<const RequestContext> context; // may be null
    // Credentials in the request, to be hidden where a response repeats them.
    std::vector<std::string> secrets;
};

// A response. What a transfer has of it is valid in two steps: status and headers from hasHeaders()
// on, everything from isDone() on. Without a whole head, `status` is 0 and `headers` are empty.
struct HttpResponse
{
    CURLcode result = CURLE_OK;
    long status = 0;                            // 0 while no response has come
    std::map<std::string, std::string> headers; // lower-case names; curl's own go with its handle
    std::string body;                           // of an error, or of a success that has no sink
    bool isMalformed = false;                   // set by who read the body and found it broken
    bool isFromProxy = false;                   // which did not let the request through
    bool isOnReusedConnection = false;          // came over a connection that had been used before
    std::chrono::seconds retryAfter{0}; // the server asks to be left alone; 0 when it does not
    int latencyMicroseconds = 0;        // from the request's end to the response's first byte
    bool isConditional = false;         // of the request
    std::shared_ptr<const RequestContext> context; // of the request
    std::vector<std::string> secrets;              // of the request

    bool isSuccess() const { return result == CURLE_OK && status >= 200 && status < 300; }
    std::string header(const char *lowerCaseName) const;
    // -1 when there is none or it is not a number.
    std::int64_t contentLength() const;
};

enum class Flow { Continue, Pause, Abort };

class HttpClient;

// One request under way. The body of a success goes to `sink`, or into the response up to 32 MiB;
// everything else of the response is kept there. A response whose head has no end counts as a
// broken connection. Destruction cancels the request.
class HttpTransfer
{
public:
    using Clock = HttpRequest::Clock;
    using BodyCallback = std::function<Flow(const char *data, std::size_t size)>;

    explicit HttpTransfer(HttpRequest request, BodyCallback sink = {});
    ~HttpTransfer();
    HttpTransfer(const HttpTransfer &) = delete;
    HttpTransfer &operator=(const HttpTransfer &) = delete;

    bool isDone() const { return m_done; }
    // Whether the head of the final response is there whole.
    bool hasHeaders() const { return m_head == Head::Complete; }
    HttpResponse &response() { return m_response; }
    // Goes on after the sink returned Flow::Pause. The time limits run anew from now.
    void resume(Clock::time_point deadline);

private:
    friend class HttpClient;
    // Before a head, inside one, behind that of the final response.
    enum class Head { Awaited, Open, Complete };

    // False when the library does not understand a setting that the transfer needs.
    bool prepare(CURL *easy);
    void finish(CURLcode result);
    void expire(Clock::time_point now);
    bool isRefusal() const { return m_response.status < 200 || m_response.status >= 300; }
    void allow(std::chrono::milliseconds time);
    void endHead();
    static std::size_t onHeader(char *data, std::size_t one, std::size_t size, void *self);
    static std::size_t onBody(char *data, std::size_t one, std::size_t size, void *self);

    HttpRequest m_request;
    BodyCallback m_sink;
    HttpResponse m_response;
    HttpClient *m_client = nullptr;
    CURL *m_easy = nullptr;
    curl_slist *m_headerList = nullptr;
    Head m_head = Head::Awaited;
    std::size_t m_headBytes = 0; // of all heads
    bool m_isSent = false;
    bool m_isExplained = false; // a refusal whose document was long enough
    bool m_done = false;
    Clock::time_point m_started;
    Clock::time_point m_due; // the transfer ends when nothing more comes until then
};

// Runs any number of transfers on the thread that calls it and keeps their connections alive. One
// thread at a time; must outlive its transfers.
class HttpClient
{
public:
    HttpClient();
    ~HttpClient();
    HttpClient(const HttpClient &) = delete;
    HttpClient &operator=(const HttpClient &) = delete;

    struct GiveBack
    {
        void operator()(HttpClient *client) const noexcept;
    };
    using Lease = std::unique_ptr<HttpClient, GiveBack>;
    // A client for the caller alone, given back on destruction. It is the one that was given back
    // last, so that the calls of a thread use the same connections. Any thread.
    static Lease lease();

    void start(HttpTransfer &transfer);
    // Moves all transfers on; waits for something to happen, at most `milliseconds`.
    void step(int milliseconds);
    // Runs one transfer to its end, or to CURLE_ABORTED_BY_CALLBACK when the thread is stopped.
    void run(HttpTransfer &transfer);

private:
    friend class HttpTransfer;
    void remove(HttpTransfer &transfer);
    void collect();
    void expire();

    CURLM *m_multi;
    std::vector<CURL *> m_idle; // easy handles to use again
    std::vector<HttpTransfer *> m_active;
    HttpRequest::Clock::time_point m_nextLook; // at the transfers' time limits
};

} // namespace hq
