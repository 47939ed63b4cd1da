// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/s3source.h"

#include "hqutil.h"
#include "net/s3documents.h"
#include "net/s3resource.h"

#include <algorithm>
#include <optional>

namespace hq {

namespace {

constexpr std::size_t kMostPageBytes = 32 * 1024 * 1024;

NameValues listQuery(const std::string &prefix, const char *mostKeys)
{
    NameValues query{
        {"list-type", "2"}, {"delimiter", "/"}, {"encoding-type", "url"}, {"max-keys", mostKeys}};
    if (!prefix.empty())
        query.emplace_back("prefix", prefix);
    return query;
}

// A HEAD is cheap, but its refusal has no document that names the reason, and some servers refuse
// HEAD alone: then the GET, the smallest that proves the same, has the last word.
bool headOrGet(S3Resource &headed, S3Resource &got, const RequestOptions &get, HttpAnswer *answer,
               const Patience &patience, const AnswerCheck &check = {})
{
    RequestOptions head;
    head.method = "HEAD";
    if (perform(headed, head, answer, {}, patience))
        return true;
    if (answer->result != CURLE_OK || answer->status < 300 || answer->status >= 500 ||
        answer->isFromProxy)
        return false;
    return perform(got, get, answer, check, patience);
}

// Success alone does not make a listing: errors can come with a 200.
bool isListing(const HttpAnswer &answer)
{
    return parseS3Listing(answer.body).has_value();
}

bool findKey(const S3Address &address, const std::string &key, S3Object *object, HttpAnswer *answer,
             const Patience &patience)
{
    auto resource = std::make_unique<S3Resource>(address, key);
    RequestOptions firstByte;
    firstByte.range = "bytes=0-0";
    const bool found = headOrGet(*resource, *resource, firstByte, answer, patience);
    const ContentRange range = contentRange(*answer);
    // No first byte to be had: an empty object.
    const bool empty = !found && answer->status == 416 && range.total == 0;
    if (!found && !empty)
        return false;
    object->size = answer->status == 200 ? answer->contentLength() : range.total;
    object->validator = Validator(*answer);
    object->latencyMicroseconds = answer->latencyMicroseconds;
    object->resource = std::move(resource);
    return true;
}

// The prefix of the keys directly inside the folder that `key` names.
std::string folderPrefix(std::string key)
{
    if (!key.empty() && key.back() != '/')
        key += '/';
    return key;
}

// Finds out whether continuation tokens go round in a circle, remembering only one of them.
class CircleGuard
{
public:
    bool isRepeated(const std::string &token)
    {
        if (token == m_remembered)
            return true;
        if (++m_steps == m_limit) {
            m_remembered = token;
            m_steps = 0;
            m_limit *= 2;
        }
        return false;
    }

private:
    std::string m_remembered;
    unsigned long m_steps = 0;
    unsigned long m_limit = 1;
};

// Fetches the pages of one listing, each while the one before is being worked through.
class Pages
{
public:
    Pages(const S3Address &address, NameValues query)
        : m_resource(address, {}, query), m_query(std::move(query))
    {
        send();
    }

    // Waits for the page that is on its way and sends for the one behind it. None on failure,
    // which the last error and answer() explain.
    std::optional<S3Listing> next()
    {
        std::optional<S3Listing> page = receive();
        m_transfer.reset();
        if (!page || !page->isTruncated)
            return page;
        if (page->nextToken.empty() || m_guard.isRepeated(page->nextToken)) {
            setLastError(Error::InvalidServerResponse);
            return std::nullopt;
        }
        NameValues query = m_query;
        query.emplace_back("continuation-token", page->nextToken);
        m_resource.setQuery(std::move(query));
        send();
        return page;
    }

    // Lets the page on its way come in.
    void pump()
    {
        if (m_transfer && !m_transfer->isDone())
            m_client.step(0);
    }

    const HttpAnswer &answer() const { return m_answer; }

private:
    void send()
    {
        m_transfer =
            std::make_unique<Transfer>(m_resource.request({}), Transfer::Sink(), kMostPageBytes);
        m_client.start(*m_transfer);
        m_client.step(0);
    }

    std::optional<S3Listing> receive()
    {
        Attempts attempts;
        while (true) {
            while (!m_transfer->isDone() && !isStopped())
                m_client.step(kStopPollMilliseconds);
            if (isStopped()) {
                setLastError(Error::Cancelled);
                return std::nullopt;
            }
            m_answer = std::move(m_transfer->answer());
            if (m_answer.isSuccess()) {
                if (auto page = parseS3Listing(m_answer.body))
                    return page;
                m_answer.malformed = true;
            }
            if (!attempts.again(m_resource, m_answer) || !attempts.wait())
                return std::nullopt;
            send();
        }
    }

    const HttpClient::Lease m_lease = HttpClient::lease();
    HttpClient &m_client = *m_lease;
    S3Resource m_resource;
    NameValues m_query;
    CircleGuard m_guard;
    HttpAnswer m_answer;
    std::unique_ptr<Transfer> m_transfer;
};

// Entries between two looks at the page that is on its way.
constexpr unsigned kEntriesPerPump = 32;

// `reported` counts the entries; false when the walk broke off.
bool walkPrefix(const S3Address &address, const std::string &prefix, const std::string &base,
                const network::Entry &entry, std::uint64_t *reported)
{
    const bool account = address.bucket.empty();
    Pages pages(address, account ? NameValues() : listQuery(prefix, "1000"));
    std::string full = base;
    while (true) {
        const std::optional<S3Listing> page = pages.next();
        if (!page && isStopped())
            return false;
        if (!page) {
            const HttpAnswer &answer = pages.answer();
            ErrOut(
                "ERROR: Listing of <%s> broke off after %llu entries, error %u, HTTP status %ld, "
                "S3 error %s",
                base.c_str(), static_cast<unsigned long long>(*reported), lastError(),
                answer.status, parseS3Error(answer.body).code.c_str());
            return false;
        }
        for (const S3Listing::Entry &item : page->entries) {
            if (item.name.size() <= prefix.size() ||
                item.name.compare(0, prefix.size(), prefix) != 0)
                continue; // the folder's own marker
            if (item.isFolder && item.name.size() == prefix.size() + 1)
                continue; // a folder without a name
            if (isStopped())
                return fail(Error::Cancelled);
            if (++*reported % kEntriesPerPump == 0)
                pages.pump();
            full.resize(base.size());
            full.append(item.name, prefix.size(), std::string::npos);
            if (!entry(full, item.isFolder ? HQ_ATTRIBUTE_FOLDER : HQ_ATTRIBUTE_NORMAL))
                return true;
        }
        if (!page->isTruncated)
            return true;
    }
}

} // namespace

S3Object findObject(const S3Address &address, HttpAnswer *answer, const Patience &patience)
{
    S3Object object;
    const std::string key = address.key();
    if (!findKey(address, key, &object, answer, patience) && answer->status == 404 &&
        key != address.rawKey)
        findKey(address, address.rawKey, &object, answer, patience);
    return object;
}

bool proveBucket(const S3Address &address, HttpAnswer *answer)
{
    if (address.bucket.empty()) {
        S3Resource account(address, {});
        return perform(account, {}, answer, isListing);
    }
    S3Resource bucket(address, {});
    S3Resource listing(address, {}, listQuery({}, "1"));
    return headOrGet(bucket, listing, {}, answer, Patience::ofPerson(), isListing);
}

bool walkS3(const S3Address &address, const std::string &written, const network::Entry &entry)
{
    std::string base = written;
    if (base.back() != '/' && base.back() != '\\')
        base += '/';
    std::uint64_t reported = 0;
    const std::string prefix = folderPrefix(address.key());
    if (!walkPrefix(address, prefix, base, entry, &reported))
        return false;
    // A folder's name can itself hold a "\".
    const std::string rawPrefix = folderPrefix(address.rawKey);
    if (reported > 0 || rawPrefix == prefix)
        return true;
    return walkPrefix(address, rawPrefix, base, entry, &reported);
}

bool isS3Folder(const S3Address &address)
{
    HttpAnswer answer;
    if (address.rawKey.empty())
        return proveBucket(address, &answer);
    S3Resource listing(address, {}, listQuery(folderPrefix(address.key()), "1"));
    if (!perform(listing, {}, &answer, isListing))
        return false;
    return !parseS3Listing(answer.body)->entries.empty() || fail(Error::FileNotFound);
}

} // namespace hq
