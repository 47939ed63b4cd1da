// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/file.h"
#include "net/resource.h"

#include <memory>
#include <string>

namespace hq {

// Reads a network source through one GET that stops whenever nobody reads, and goes on behind the
// last byte when the connection is lost.
class NetworkFile : public File
{
public:
    // `size` -1 and an empty `etag` when they are not known yet.
    NetworkFile(std::unique_ptr<Resource> resource, std::int64_t size, std::string etag);

    // Sends the request and waits for the headers of a success.
    bool start();
    const HttpAnswer &answer() const { return m_answer; }

    bool read(void *buffer, std::uint32_t count, std::uint32_t *read) override;
    bool size(std::int64_t *size) override;
    bool seek(std::int64_t position) override;
    bool hasNextPage() const override;

private:
    bool startAt(std::int64_t position, Attempts &attempts);
    bool accept(std::int64_t position);
    bool restart(Attempts &attempts);
    bool waitForData(std::size_t limit, Attempts &attempts);
    Flow take(const char *data, std::size_t size);
    std::size_t buffered() const { return m_buffer.size() - m_bufferStart; }
    void drop();

    std::unique_ptr<Resource> m_resource;
    std::int64_t m_size;
    std::string m_etag;
    HttpAnswer m_answer; // of the last finished or refused request

    HttpClient m_client; // of its own, since any thread may read
    std::unique_ptr<Transfer> m_transfer;
    std::string m_buffer;
    std::size_t m_bufferStart = 0;
    std::size_t m_bufferLimit = 0; // the transfer stops when the buffer holds as much
    std::int64_t m_skip = 0;       // bytes still to be passed over
    std::int64_t m_position = 0;   // of the next byte to be read
};

} // namespace hq
