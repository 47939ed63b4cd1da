// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/file.h"
#include "net/resource.h"
#include "net/validator.h"

#include <memory>
#include <string>

namespace hq {

// Reads a network source through one GET that stops whenever nobody reads, and goes on behind the
// last byte when the connection is lost. Where versions of the source cannot be told apart, a read
// that breaks off begins again, or fails when bytes of the same run were handed out before it.
class NetworkFile : public File
{
public:
    // `size` -1 and no validator when they are not known yet.
    NetworkFile(std::unique_ptr<Resource> resource, std::int64_t size, Validator validator,
                const Patience &patience);
    ~NetworkFile() override;

    // Sends the request and waits for the headers of a success; false sets the last error.
    bool start();

    bool read(void *buffer, std::uint32_t count, std::uint32_t *read) override;
    bool size(std::int64_t *size) override;
    bool seek(std::int64_t position) override;
    bool hasNextPage() const override;

    // For use after a failed read. True when the read failed only because it could not go on behind
    // bytes that it had handed out: then this has waited for the next attempt, and reading begins
    // at the start. False leaves that read's error, or is Cancelled.
    bool beginAgain();

private:
    bool startAt(std::int64_t position);
    bool accept(std::int64_t position);
    bool fill(std::size_t limit);
    bool recover();
    bool readAll(char *buffer, std::uint32_t count, std::uint32_t *done);
    bool findSize();
    bool giveUp();
    Flow take(const char *data, std::size_t size);
    std::size_t buffered() const { return m_buffer.size() - m_bufferStart; }
    void drop();

    std::unique_ptr<Resource> m_resource;
    const std::int64_t m_givenSize;
    std::int64_t m_size;
    Validator m_validator;
    bool m_isFirst;      // no answer has told the validator yet
    HttpAnswer m_answer; // of the last finished or refused request
    Attempts m_attempts;

    HttpClient::Lease m_client = HttpClient::lease(); // of its own, since any thread may read
    std::unique_ptr<Transfer> m_transfer;
    std::string m_buffer;
    std::size_t m_bufferStart = 0;
    std::size_t m_bufferLimit = 0; // the transfer stops when the buffer holds as much
    std::int64_t m_skip = 0;       // bytes still to be passed over
    std::int64_t m_position = 0;   // of the next byte to be read
    std::int64_t m_furthest = 0;   // behind the last byte that came since the last seek
    std::int64_t m_counted = 0;    // m_furthest when the attempts were last counted anew
    bool m_isRepeating = false;    // the transfer brought bytes, none of them new
    int m_repeats = 0;             // transfers in a row that did
    bool m_isHandedOut = false;    // some byte since the last seek
    bool m_isLost = false;         // cannot go on behind these bytes
    bool m_mayBeginAgain = false;
    bool m_isClosing = false; // what still comes is thrown away
    std::size_t m_thrownAway = 0;
};

} // namespace hq
