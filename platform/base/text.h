// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Small questions about texts. Letters are those of ASCII, whatever the locale.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace hq {

inline char lowerCase(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

inline bool isLetterOrDigit(char c)
{
    return (c >= '0' && c <= '9') || (lowerCase(c) >= 'a' && lowerCase(c) <= 'z');
}

inline std::string lowerCase(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](char c) { return lowerCase(c); });
    return text;
}

// `prefix` in lower case.
inline bool startsWithNoCase(std::string_view text, std::string_view prefix)
{
    return text.size() >= prefix.size() &&
           std::equal(prefix.begin(), prefix.end(), text.begin(),
                      [](char a, char b) { return a == lowerCase(b); });
}

// `other` in lower case.
inline bool equalsNoCase(std::string_view text, std::string_view other)
{
    return text.size() == other.size() && startsWithNoCase(text, other);
}

// Whether a scheme's name ends in "s3", in any letter case.
inline bool isS3Scheme(std::string_view name)
{
    return name.size() >= 2 && equalsNoCase(name.substr(name.size() - 2), "s3");
}

// Whether `address` is a network source; every other text is a local path.
inline bool isNetworkSource(std::string_view address)
{
    return startsWithNoCase(address, "s3://") || startsWithNoCase(address, "https://") ||
           startsWithNoCase(address, "http://");
}

// Whether a host without port, in lower case, can only be this machine.
inline bool isLoopback(std::string_view host)
{
    return host == "localhost" || host == "[::1]" ||
           (host.substr(0, 4) == "127." &&
            host.find_first_not_of("0123456789.") == std::string_view::npos);
}

// The first `most` bytes of UTF-8, less those of a character that would be cut in two.
inline std::string_view cutAt(std::size_t most, std::string_view text)
{
    if (text.size() <= most)
        return text;
    while (most > 0 && (static_cast<unsigned char>(text[most]) & 0xc0) == 0x80)
        --most;
    return text.substr(0, most);
}

// What separates the parts of an address or a path, on every system.
inline bool isAddressSeparator(char c)
{
    return c == '/' || c == '\\';
}

} // namespace hq
