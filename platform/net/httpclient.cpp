// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/http.h"
#include "stoptoken.h"

#include <algorithm>
#include <csignal>
#include <mutex>
#include <utility>

namespace hq {

namespace {

using Clock = HttpRequest::Clock;

constexpr long kKeptConnections = 40;
constexpr std::size_t kIdleHandles = 40;
constexpr std::size_t kIdleClients = 8;
constexpr std::chrono::seconds kMaxIdle{60};
constexpr std::chrono::milliseconds kLookInterval{20};

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

// The clients that nobody uses, those given back last at the end.
struct ClientPool
{
    struct Idle
    {
        std::unique_ptr<HttpClient> client;
        Clock::time_point since;
    };
    std::mutex mutex;
    std::vector<Idle> idle;

    ClientPool() { idle.reserve(kIdleClients + 1); }
    static ClientPool &shared()
    {
        // Never destroyed: threads may still be at work when the process ends.
        static auto *const pool = new ClientPool;
        return *pool;
    }
};

} // namespace

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

void HttpClient::GiveBack::operator()(HttpClient *client) const noexcept
{
    ClientPool &pool = ClientPool::shared();
    ClientPool::Idle oldest; // closed when the lock is off
    const std::lock_guard lock(pool.mutex);
    pool.idle.push_back({std::unique_ptr<HttpClient>(client), Clock::now()});
    if (pool.idle.size() > kIdleClients) {
        oldest = std::move(pool.idle.front());
        pool.idle.erase(pool.idle.begin());
    }
}

HttpClient::Lease HttpClient::lease()
{
    ClientPool &pool = ClientPool::shared();
    std::vector<ClientPool::Idle> old; // closed when the lock is off
    const std::lock_guard lock(pool.mutex);
    while (!pool.idle.empty() && pool.idle.front().since < Clock::now() - kMaxIdle) {
        old.push_back(std::move(pool.idle.front()));
        pool.idle.erase(pool.idle.begin());
    }
    if (pool.idle.empty())
        return Lease(new HttpClient);
    Lease client(pool.idle.back().client.release());
    pool.idle.pop_back();
    return client;
}

void HttpClient::start(HttpTransfer &transfer)
{
    CURL *easy = m_idle.empty() ? curl_easy_init() : m_idle.back();
    if (!m_idle.empty())
        m_idle.pop_back();
    transfer.m_client = this;
    if (!easy) {
        transfer.finish(CURLE_OUT_OF_MEMORY);
        return;
    }
    const bool isPrepared = transfer.prepare(easy);
    m_active.push_back(&transfer);
    if (!isPrepared) {
        remove(transfer);
        transfer.finish(CURLE_UNKNOWN_OPTION);
    } else if (curl_multi_add_handle(m_multi, easy) != CURLM_OK)
        transfer.finish(CURLE_FAILED_INIT);
}

void HttpClient::remove(HttpTransfer &transfer)
{
    transfer.m_client = nullptr;
    curl_slist_free_all(transfer.m_headerList);
    transfer.m_headerList = nullptr;
    CURL *easy = transfer.m_easy;
    transfer.m_easy = nullptr;
    if (!easy)
        return;
    m_active.erase(std::remove(m_active.begin(), m_active.end(), &transfer), m_active.end());
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
        auto *transfer = reinterpret_cast<HttpTransfer *>(owner);
        transfer->finish(result);
        remove(*transfer); // the connection is free for the next transfer from here on
    }
}

// Called after everything that has come was taken in, so that a caller who stayed away for long
// loses nothing.
void HttpClient::expire()
{
    const auto now = Clock::now();
    if (now < m_nextLook)
        return;
    m_nextLook = now + kLookInterval;
    for (HttpTransfer *transfer : std::vector<HttpTransfer *>(m_active))
        transfer->expire(now);
}

void HttpClient::step(int milliseconds)
{
    // Waits first, so that the caller sees at once what the perform brings in.
    if (milliseconds > 0)
        curl_multi_poll(m_multi, nullptr, 0, milliseconds, nullptr);
    int running = 0;
    curl_multi_perform(m_multi, &running);
    collect();
    expire();
}

void HttpClient::run(HttpTransfer &transfer)
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
