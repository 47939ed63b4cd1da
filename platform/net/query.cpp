// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/query.h"

#include <QByteArray>

#include <algorithm>

namespace hq {

std::string percentEncoded(std::string_view text, bool keepSlash)
{
    return QByteArray::fromRawData(text.data(), static_cast<int>(text.size()))
        .toPercentEncoding(keepSlash ? "/" : "")
        .toStdString();
}

std::string canonicalQuery(const NameValues &query)
{
    NameValues encoded;
    for (const auto &[name, value] : query)
        encoded.emplace_back(percentEncoded(name, false), percentEncoded(value, false));
    std::sort(encoded.begin(), encoded.end());
    std::string result;
    for (const auto &[name, value] : encoded)
        result.append(result.empty() ? "" : "&").append(name).append("=").append(value);
    return result;
}

} // namespace hq
