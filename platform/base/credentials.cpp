// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "credentials.h"

#include "credentialnames.h"
#include "printable.h"
#include "redaction.h"
#include "s3address.h"
#include "text.h"

#include <QByteArray>

#include <algorithm>
#include <cstring>
#include <optional>
#include <vector>

namespace hq {

namespace {

constexpr auto kNone = std::string_view::npos;
constexpr std::string_view kOwnQuery = "limit=300"; // of the flows request

// "s3://" somewhere in a text, from the first letter of its name to behind the slashes.
struct Scheme
{
    std::size_t start;
    std::size_t colon;
    std::size_t end;
    bool isS3;
};

// The first thing in a text that may be meant as the scheme of an address. The slashes may be
// turned, a blank or a folder may stand in front. Drives of one letter are none.
std::optional<Scheme> findScheme(std::string_view text)
{
    // Its colon forgotten.
    for (const std::string_view name : {"s3", "https", "http"}) {
        const bool isBegin = startsWithNoCase(text, name) && text.size() > name.size() + 1 &&
                             isAddressSeparator(text[name.size()]) &&
                             isAddressSeparator(text[name.size() + 1]);
        if (isBegin)
            return Scheme{0, name.size(), name.size() + 2, name == "s3"};
    }
    for (std::size_t colon = 0; (colon = text.find(':', colon)) != kNone; ++colon) {
        std::size_t start = colon;
        while (start > 0 && isLetterOrDigit(text[start - 1]))
            --start;
        std::size_t end = colon + 1;
        while (end < text.size() && isAddressSeparator(text[end]))
            ++end;
        const std::string_view name = text.substr(start, colon - start);
        const bool isS3 = isS3Scheme(name);
        const bool isKnown = isS3 || startsWithNoCase(name, "http");
        // Without slashes a name is one only where a site may follow.
        const bool hasSite = isKnown && text.find('@', end) != kNone;
        if (name.size() >= 2 && end - colon - 1 >= (hasSite ? 0 : isKnown ? 1 : 2))
            return Scheme{isS3 ? colon - 2 : start, colon, end, isS3};
    }
    return std::nullopt;
}

// Whether a site with a dot follows the "@" at `at`, the only one.
bool isPlainSite(std::string_view text, std::size_t at)
{
    return at != kNone && text.find('@') == at && text.rfind('@') == at &&
           siteLength(text.substr(at + 1, text.find_first_of("?#", at) - at - 1), false) != 0;
}

// "KEY:SECRET@SITE/..." of an address that the program does not take.
std::string strayS3(std::string_view text)
{
    const std::size_t colon = text.find(':');
    const std::size_t firstAt = text.find('@');
    if (colon == kNone && firstAt == kNone)
        return redact(text);
    std::string key(text.substr(0, colon < firstAt ? colon + 1 : 0));
    return key.append(kStars).append(isPlainSite(text, firstAt) ? redact(text.substr(firstAt))
                                                                : std::string());
}

std::size_t secretEnd(std::string_view address, const S3Address &parts)
{
    const std::size_t end = parts.secretStart() + parts.secret.size();
    // Buckets have no "@" in their names: the secret goes on to it.
    const std::size_t at = parts.bucket.rfind('@');
    return at == kNone ? end : address.find(parts.bucket, end + 1 + parts.site.size()) + at;
}

std::string s3(std::string_view address, const S3Address &parts)
{
    const std::size_t secret = parts.secretStart();
    const std::size_t end = secretEnd(address, parts);
    // A query has no meaning here, so one that was pasted is a part of the key.
    const std::size_t query = std::min(address.find('?', end), address.size());
    return std::string(address.substr(0, secret))
        .append(kStars)
        .append(address.substr(end, query - end))
        .append(redact(address.substr(query)));
}

bool isName(std::string_view text)
{
    constexpr std::size_t kMaxLength = 64;
    return text.size() <= kMaxLength && std::all_of(text.begin(), text.end(), [](char c) {
               return isLetterOrDigit(c) || std::strchr("-_.~%[]", c);
           });
}

std::string harmlessQuery(std::string_view query)
{
    std::string result;
    while (true) {
        const std::string_view item = query.substr(0, query.find('&'));
        const std::size_t sign = item.find('=');
        // Without a name, or with nothing behind it, the word itself may be the credential.
        const bool isNamed = item.find_first_not_of('=', sign) != kNone;
        if (item == kOwnQuery)
            result += item;
        else if (sign != kNone && isNamed && isName(item.substr(0, sign)))
            result.append(item.substr(0, sign + 1)).append(kStars);
        else if (!item.empty())
            result += kStars;
        if (item.size() == query.size())
            return result;
        result += '&';
        query.remove_prefix(item.size() + 1);
    }
}

// Length of the user part of what comes behind the "://" of other addresses; npos when it is not
// plain where it ends. Behind a scheme that is not known (`isOurs` false) any "@" may end it.
std::size_t userPartLength(std::string_view text, bool isOurs)
{
    const std::string_view authority = text.substr(0, text.find_first_of("/\\?#"));
    if (const std::size_t at = authority.rfind('@'); at != kNone) {
        const std::string_view host = authority.substr(at + 1);
        const bool isOnly = text.find('@') == text.rfind('@');
        return siteLength(host, isOnly) != 0 ? at : kNone;
    }
    // A "/" or "?" in it, as in "DOMAIN\user:password@host".
    const std::string_view path = text.substr(0, text.find_first_of("?#"));
    const std::size_t at = path.rfind('@');
    const bool isInPath =
        isOurs ? at != kNone && path.find(':', authority.size()) < at : text.find('@') != kNone;
    if (!isInPath && !hasPassword(text))
        return 0;
    return isPlainSite(text, at) && !namesCredential(path) ? at : kNone;
}

// What comes behind the "://" of any other address.
std::string web(std::string_view text, bool isOurs)
{
    const std::size_t length = userPartLength(text, isOurs);
    if (length == kNone)
        return std::string(kStars);
    std::string result(length == 0 ? std::string_view() : kStars);
    text.remove_prefix(length);
    const std::size_t pathEnd = std::min(text.find_first_of("?#"), text.size());
    result += redact(text.substr(0, pathEnd));
    text.remove_prefix(pathEnd);
    const std::string_view query = text.substr(0, text.find('#'));
    if (!query.empty())
        result += "?" + harmlessQuery(query.substr(1));
    return query.size() == text.size() ? result : result.append("#").append(kStars);
}

// Where "KEY:SECRET@SITE" begins in a text that has it in front of any scheme: its ":". Drives of
// one letter are none.
std::size_t strayColon(std::string_view text)
{
    const std::size_t begin = std::min(text.find_first_not_of(" \t/\\"), text.size());
    const std::size_t end = text.find_first_of("/\\", begin);
    const std::size_t colon = text.substr(0, end).find(':', begin);
    const bool isDrive = colon == begin + 1 && colon + 1 == end;
    return isDrive || text.find('@', colon) == kNone ? kNone : colon;
}

std::string decoded(std::string_view text)
{
    return QByteArray::fromPercentEncoding(QByteArray(text.data(), static_cast<int>(text.size())))
        .toStdString();
}

// Shorter ones say nothing, and are everywhere.
constexpr std::size_t kMinPart = 4;

void hideAll(std::string *text, const std::string &part)
{
    if (part.size() < kMinPart)
        return;
    for (std::size_t found = 0; (found = text->find(part, found)) != kNone;)
        text->replace(found, part.size(), kStars);
}

// Length of the end of `text` that `part` begins with: the text was cut there.
std::size_t cutLength(const std::string &text, const std::string &part)
{
    std::size_t length = std::min(part.size(), text.size());
    while (length > 0 && text.compare(text.size() - length, length, part, 0, length) != 0)
        --length;
    return length;
}

// What harmlessAddress() hides of an address that the program takes.
std::vector<std::string_view> hiddenParts(std::string_view address)
{
    const std::size_t scheme = address.find("://");
    if (scheme == kNone)
        return {};
    if (const auto parts = S3Address::parse(address))
        return {address.substr(parts->secretStart(),
                               secretEnd(address, *parts) - parts->secretStart())};
    std::vector<std::string_view> hidden;
    std::string_view text = address.substr(scheme + 3);
    if (const std::size_t length = userPartLength(text, true); length != 0) {
        const std::string_view user = text.substr(0, length);
        hidden = {user};
        if (const std::size_t colon = user.find(':'); colon != kNone)
            hidden.push_back(user.substr(colon + 1));
        text.remove_prefix(user.size());
    }
    text.remove_prefix(std::min(text.find_first_of("?#"), text.size()));
    while (!text.empty()) {
        const std::string_view item = text.substr(1, text.find_first_of("&#", 1) - 1);
        hidden.push_back(item.substr(item.find('=') + 1));
        text.remove_prefix(1 + item.size());
    }
    return hidden;
}

} // namespace

std::string harmlessAddress(std::string_view address)
{
    const std::optional<Scheme> scheme = findScheme(address);
    const std::size_t stray = strayColon(address);
    if (stray < (scheme ? scheme->colon : kNone)) {
        const std::size_t key = address.find_last_of(" \t/\\", stray) + 1;
        return printable(std::string(address.substr(0, key)) + strayS3(address.substr(key)));
    }
    if (!scheme)
        return printable(address);
    // What stands in front of the scheme is no part of the address.
    const std::string front = redact(address.substr(0, scheme->start));
    const std::string_view taken = address.substr(scheme->start);
    if (const auto parts = S3Address::parse(taken))
        return printable(front + s3(taken, *parts));
    const std::size_t start = scheme->end - scheme->start;
    const std::string_view rest = taken.substr(start);
    const bool isOurs = startsWithNoCase(taken, "http") || startsWithNoCase(taken, "tams");
    return printable(front + std::string(taken.substr(0, start)) +
                     (scheme->isS3 ? strayS3(rest) : web(rest, isOurs)));
}

std::optional<std::string> s3AddressWithoutCredentials(std::string_view address)
{
    const auto parts = S3Address::parse(address);
    if (!parts || parts->bucket.find('@') != kNone)
        return std::nullopt;
    const std::size_t site = parts->secretStart() + parts->secret.size() + 1;
    return "s3://" + std::string(address.substr(site));
}

std::string webAddressWithoutCredentials(std::string_view address)
{
    const std::size_t host = address.find("://") + 3;
    const std::size_t length = userPartLength(address.substr(host), true);
    if (length == kNone)
        return {};
    const std::string_view rest = address.substr(host + (length == 0 ? 0 : length + 1));
    return std::string(address.substr(0, host)).append(rest.substr(0, rest.find_first_of("?#")));
}

std::string harmlessReport(std::string_view text, std::string_view address)
{
    std::vector<std::string> hidden;
    for (const std::string_view part : hiddenParts(address)) {
        hidden.insert(hidden.end(), {std::string(part), decoded(part)});
        // Letters and digits stay as they are however a text is escaped on its way.
        for (std::size_t start = 0, end = 0; start < part.size(); start = end + 1) {
            for (end = start; end < part.size() && isLetterOrDigit(part[end]);)
                ++end;
            hidden.emplace_back(part.substr(start, end - start));
        }
    }
    // A part may lie in another one.
    std::sort(hidden.begin(), hidden.end(),
              [](const auto &a, const auto &b) { return a.size() > b.size(); });
    std::string result = redact(text);
    for (const std::string &part : hidden)
        hideAll(&result, part);
    std::size_t cut = 0;
    for (const std::string &part : hidden)
        cut = std::max(cut, cutLength(result, part));
    if (cut >= kMinPart)
        result.replace(result.size() - cut, cut, kStars);
    return printable(result);
}

bool holdsCredentials(std::string_view address)
{
    const std::optional<Scheme> scheme = findScheme(address);
    if (!scheme)
        return false;
    const std::string_view taken = address.substr(scheme->start);
    if (scheme->isS3) {
        const auto parts = S3Address::parse(taken);
        return parts ? parts->isSigned() : taken.find_first_of(":@", 3) != kNone;
    }
    for (const std::string &text : {std::string(taken), decoded(taken)}) {
        if (namesCredential(text))
            return true;
        for (std::size_t at = 0; (at = text.find("://", at)) != kNone; at += 3) {
            const std::string_view rest = std::string_view(text).substr(at + 3);
            const std::string_view own = rest.substr(0, rest.find("://"));
            if (userInformationEnd(own) != kNone || userPartLength(own, true) != 0)
                return true;
        }
    }
    return false;
}

} // namespace hq
