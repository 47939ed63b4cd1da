// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "failures.h"

#include "credentials.h"
#include "errorlog.h"
#include "lasterror.h"
#include "localfile.h"
#include "s3address.h"
#include "stoptoken.h"
#include "system.h"
#include "text.h"

#include <exception>
#include <string>

namespace hq {

namespace {

std::string shown(std::string_view address)
{
    // Longer ones would push the reason out of the line.
    constexpr std::size_t kMaxLength = 8192;
    const std::string text = harmlessAddress(address);
    return "<" + (text.size() > kMaxLength ? std::string(cutAt(kMaxLength, text)) + "..." : text) +
           ">";
}

// What is wrong with the text of an address.
std::string wrongForm(std::string_view address)
{
    const std::size_t begin = address.find_first_not_of(" \t\r\n\"'<");
    const bool isTrimmed =
        begin != 0 && begin != std::string_view::npos && isNetworkSource(address.substr(begin));
    if (isTrimmed)
        return address[0] == ' ' ? "the address begins with a blank"
                                 : "the address does not begin with its scheme";
    if (isS3Address(address) && !S3Address::parse(address))
        return address.find('@') == std::string_view::npos
                   ? "the address has no \"@\" behind its secret"
                   : "the address is not s3://KEY:SECRET@SITE/BUCKET/OBJECT";
    if (!isNetworkSource(address) && address.find("://") != std::string_view::npos)
        return "network sources begin with s3://, https:// or http://";
    if (!address.empty() && address.back() == ' ')
        return "the address ends with a blank";
    return {};
}

// What the code means for this address.
std::string meaningOf(std::string_view address)
{
    const auto parts = S3Address::parse(address);
    const bool namesScheme = parts && parts->site.find("://") != std::string::npos;
    return isLastError(Error::SecureChannelError) && !namesScheme
               ? "a server that speaks plain http needs \"http://\" in front of its host"
               : "";
}

// "error 5 (denied), HTTP status 403, server: AccessDenied, what follows for the person".
std::string reason(std::string_view address, std::string advice)
{
    const FailureDetails &details = failureDetails();
    if (!details.advice.empty())
        advice = details.advice;
    if (advice.empty())
        advice = wrongForm(address);
    if (advice.empty())
        advice = meaningOf(address);
    std::string text = errorText(lastError());
    if (details.httpStatus != 0)
        text += ", HTTP status " + std::to_string(details.httpStatus);
    constexpr std::size_t kMaxWord = 300;
    if (!details.serverWord.empty())
        text += ", server: " + harmlessReport(cutAt(kMaxWord, details.serverWord), address);
    if (!advice.empty())
        text += ", " + advice;
    return text;
}

void write(const std::string &what, std::string_view address, const std::string &advice)
{
    writeHarmlessLine("ERROR: " + what + ", " + reason(address, advice));
}

template <typename Call>
void unlessCancelled(Call call) noexcept
{
    if (isStopped() || isLastError(Error::Cancelled))
        return;
    try {
        call();
    } catch (const std::exception &) {
        // Out of memory: the line is lost, the caller is not.
    }
}

// Which of a copy's two paths is wrong, and how.
std::string wrongSide(std::string_view source, std::string_view destination)
{
    if (!failureDetails().isOfTarget)
        return isLastError(Error::AccessDenied) && !isNetworkSource(source)
                   ? "the source cannot be read"
                   : "";
    const auto code = static_cast<Error>(lastError());
    const LastErrorKeeper keeper;
    switch (code) {
    case Error::NotSupported:
        return isNetworkSource(destination) ? "copies go to local files only"
                                            : "the destination is no file";
    case Error::PathNotFound:
        return "the destination's folder is missing";
    case Error::FileNotFound:
    case Error::AccessDenied:
        return system::kindOf(std::string(destination)) == system::Kind::Folder
                   ? "the destination is a folder"
                   : "the destination cannot be written";
    case Error::InvalidName:
        return "the destination's name is malformed or too long";
    default:
        return {};
    }
}

} // namespace

std::string failureReason(std::string_view address)
{
    return reason(address, {});
}

void logFailedOpen(std::string_view address) noexcept
{
    unlessCancelled([&] {
        const bool isDenied = isLastError(Error::AccessDenied);
        const std::string path(address);
        std::string advice;
        if (const LastErrorKeeper keeper;
            isDenied && !isNetworkSource(path) && system::kindOf(path) == system::Kind::Folder)
            advice = "it is a folder";
        write("Unable to open " + shown(address), address, advice);
    });
}

void logFailedWalk(std::string_view address, std::uint64_t reported) noexcept
{
    unlessCancelled([&] {
        const std::string entries =
            std::to_string(reported) + (reported == 1 ? " entry" : " entries");
        write(reported == 0 ? "Unable to list " + shown(address)
                            : "Listing of " + shown(address) + " broke off after " + entries,
              address, {});
    });
}

void logFailedCopy(std::string_view source, std::string_view destination) noexcept
{
    unlessCancelled([&] {
        write("Unable to copy " + shown(source) + " to " + shown(destination), source,
              failureDetails().advice.empty() ? wrongSide(source, destination) : std::string());
    });
}

} // namespace hq
