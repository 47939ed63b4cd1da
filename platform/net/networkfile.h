// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/file.h"
#include "net/resource.h"
#include "net/responsebody.h"
#include "net/validator.h"

#include <memory>
#include <optional>

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
    bool recover();
    bool readAll(char *buffer, std::int64_t count);
    bool findSize();
    bool giveUp();
    bool showsSize();
    void noteArrival(std::int64_t buffered);
    std::int64_t buffered() const { return m_body ? m_body->buffered() : 0; }
    std::int64_t end() const;

    std::unique_ptr<Resource> m_resource;
    const std::int64_t m_givenSize;
    std::int64_t m_size;
    Validator m_validator;
    bool m_isFirst;          // no response has told the validator yet
    HttpResponse m_response; // of the last finished or refused request
    RetryState m_retryState;

    HttpClient::Lease m_client = HttpClient::lease(); // of its own, since any thread may read
    std::optional<ResponseBody> m_body;
    std::int64_t m_position = 0; // of the next byte to be read
    std::int64_t m_furthest = 0; // behind the last byte that came since the last seek
    std::int64_t m_counted = 0;  // m_furthest when the attempts were last counted anew
    bool m_isRepeating = false;  // the body brought bytes, none of them new
    int m_repeats = 0;           // bodies in a row that did
    bool m_isHandedOut = false;  // some byte since the last seek
    bool m_isLost = false;       // cannot go on behind these bytes
    bool m_mayBeginAgain = false;
};

} // namespace hq
