// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "net/http.h"

#include <string>

namespace hq {

// Tells one version of a source from another, by what its first response says. A strong ETag
// decides alone, since mirrors may have unlike dates. Otherwise a weak ETag counts and, when it is
// a minute old, so that a second change in the same second is out of the question, Last-Modified.
class Validator
{
public:
    Validator() = default;
    explicit Validator(const HttpResponse &first);

    // Whether versions can be told apart at all. Where they cannot, pieces of several responses do
    // not fit together.
    bool exists() const { return !m_etag.empty() || !m_lastModified.empty(); }
    bool isStrong() const;
    // The header that makes a server refuse another version; empty when there is none.
    std::string condition() const;
    // Whether a later response is of the same version as far as its head tells.
    bool accepts(const HttpResponse &response) const;

private:
    std::string m_etag;
    std::string m_lastModified;
};

} // namespace hq
