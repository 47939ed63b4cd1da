// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "redaction.h"

#include "credentialnames.h"
#include "text.h"

#include <algorithm>
#include <iterator>

namespace hq {

namespace {

constexpr std::string_view kStars = "***";
constexpr std::string_view kQuotesAndBlanks = "\\\"' \t";

bool startsWith(std::string_view text, std::string_view prefix)
{
    return text.substr(0, prefix.size()) == prefix;
}

class Redactor
{
public:
    explicit Redactor(std::string_view text) : m_rest(text) { m_result.reserve(text.size()); }

    std::string run()
    {
        while (!m_rest.empty()) {
            const auto end = std::find_if_not(m_rest.begin(), m_rest.end(), isNameCharacter);
            const auto length = static_cast<std::size_t>(std::distance(m_rest.begin(), end));
            const std::string_view name = m_rest.substr(0, length);
            const bool isElement = !m_result.empty() && m_result.back() == '<';
            keep(std::max<std::size_t>(length, 1));
            if (!name.empty())
                behind(name, isElement);
        }
        return std::move(m_result);
    }

private:
    void keep(std::size_t length)
    {
        m_result += m_rest.substr(0, length);
        m_rest.remove_prefix(std::min(length, m_rest.size()));
    }
    // To the end for npos.
    void hide(std::size_t length)
    {
        m_result += kStars;
        m_rest.remove_prefix(std::min(length, m_rest.size()));
    }

    void behind(std::string_view name, bool isElement)
    {
        if (startsWith(m_rest, "://")) {
            keep(3);
            address(isS3Scheme(name));
        } else if (const std::size_t word = m_rest.find_first_not_of(" \t");
                   word != 0 && (equalsNoCase(name, "bearer") || equalsNoCase(name, "basic"))) {
            keep(word);
            if (const std::size_t length = m_rest.find_first_of(" \t\r\n\"<>"))
                hide(length);
        } else if (const NameKind kind = nameKind(name); kind != NameKind::Harmless) {
            value(kind, isElement);
        }
    }

    // What ends the name (quotes, an element's ">"), a separator, then the value itself.
    void value(NameKind kind, bool isElement)
    {
        const std::size_t end = std::min(m_rest.find_first_not_of(kQuotesAndBlanks), m_rest.size());
        const std::string_view sign = m_rest.substr(end, 3);
        if (isElement && startsWith(sign, ">")) {
            keep(end + 1);
            hide(m_rest.find('<'));
            return;
        }
        const bool isEncoded = startsWithNoCase(sign, "%3d");
        if (!isEncoded && !startsWith(sign, "=") &&
            !(startsWith(sign, ":") && kind != NameKind::InQueries))
            return;
        keep(end + (isEncoded ? 3 : 1));
        const auto opening = m_rest.substr(0, m_rest.find_first_not_of(kQuotesAndBlanks));
        keep(opening.size());
        const std::size_t quote = opening.find_last_of("\"'");
        if (quote != std::string_view::npos)
            quoted(opening[quote], quote > 0 && opening[quote - 1] == '\\');
        else
            hide(m_rest.find_first_of(kind == NameKind::WholeLine ? "\r\n" : " \t\r\n&<>\""));
    }

    // Where the opening quote is escaped itself, the next one ends the value, escaped or not.
    void quoted(char quote, bool isEscaped)
    {
        std::size_t length = 0;
        while (length < m_rest.size() && m_rest[length] != quote)
            length += m_rest[length] == '\\' && !isEscaped ? 2 : 1;
        hide(length);
    }

    void address(bool isS3)
    {
        const std::size_t key = isS3 ? m_rest.find_first_of(":/\\@ <>\"'") : std::string_view::npos;
        const bool hasSecret = key != std::string_view::npos && m_rest[key] == ':';
        if (hasSecret)
            keep(key + 1);
        if (startsWith(m_rest, kStars))
            return; // done before
        // A secret may hold anything, also what looks like the next address.
        const std::size_t end = hasSecret
                                    ? m_rest.rfind('@')
                                    : userInformationEnd(m_rest.substr(0, m_rest.find("://")));
        if (hasSecret || end != std::string_view::npos)
            hide(end);
    }

    std::string_view m_rest;
    std::string m_result;
};

} // namespace

bool hasPassword(std::string_view address)
{
    const std::string_view authority = address.substr(0, address.find_first_of("/\\?#"));
    const std::size_t colon = authority.rfind(':');
    if (colon == std::string_view::npos || (authority[0] == '[' && authority.back() == ']'))
        return false;
    return colon + 1 == authority.size() ||
           authority.find_first_not_of("0123456789", colon + 1) != std::string_view::npos;
}

std::size_t userInformationEnd(std::string_view address)
{
    const std::size_t at = address.substr(0, address.find_first_of("/\\?#")).rfind('@');
    if (at != std::string_view::npos)
        return at;
    // What stands behind the ":" of a host is a number; a password may hold a "/".
    return hasPassword(address) ? address.rfind('@') : std::string_view::npos;
}

std::string redact(std::string_view text)
{
    return Redactor(text).run();
}

} // namespace hq
