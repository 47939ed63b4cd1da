// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/s3/nameguesser.h"

#include <QString>

#include <algorithm>
#include <cmath>
#include <tuple>

namespace hq {

namespace {

constexpr std::size_t kMaxWheels = 200;

std::size_t commonLength(std::string_view a, std::string_view b)
{
    const std::size_t most = std::min(a.size(), b.size());
    std::size_t length = 0;
    while (length < most && a[length] == b[length])
        ++length;
    return length;
}

bool isUtf8(const std::string &text)
{
    return QString::fromStdString(text).toStdString() == text;
}

bool hasAny(const std::bitset<256> &letters, char first, char last)
{
    for (char c = first; c <= last; ++c) {
        if (letters[static_cast<unsigned char>(c)])
            return true;
    }
    return false;
}

} // namespace

void NameGuesser::learn(std::string_view before, std::string_view name)
{
    name = name.substr(0, kMaxWheels);
    if (m_wheels.size() < name.size())
        m_wheels.resize(name.size());
    const std::size_t same = commonLength(before, name);
    for (std::size_t i = same; i < name.size(); ++i)
        m_wheels[i].letters.set(static_cast<unsigned char>(name[i]));
    // A wheel has turned, so those behind it had come to their ends.
    for (std::size_t i = same + 1; i < std::min(before.size(), name.size()); ++i)
        m_wheels[i].isKnown = true;
}

void NameGuesser::conclude()
{
    bool isHex = false; // the wheel behind
    for (auto wheel = m_wheels.rbegin(); wheel != m_wheels.rend(); ++wheel) {
        std::bitset<256> letters = wheel->letters;
        const bool isDigit = hasAny(letters, '0', '9');
        const bool isOther = hasAny(letters, 'g', 'z') || hasAny(letters, 'G', 'Z');
        const bool isLower = hasAny(letters, 'a', 'z');
        const bool isUpper = hasAny(letters, 'A', 'Z');
        isHex = isDigit && !isOther && (isLower || isUpper || isHex);
        const std::tuple<bool, char, char> kinds[] = {
            {isDigit, '0', '9'},
            {isUpper, 'A', isHex ? 'F' : 'Z'},
            {isLower || (isHex && !isUpper), 'a', isHex ? 'f' : 'z'}};
        for (const auto &[isThere, first, last] : kinds) {
            for (char c = first; isThere && !wheel->isKnown && c <= last; ++c)
                letters.set(static_cast<unsigned char>(c));
        }
        wheel->all.clear();
        for (std::size_t c = 0; c < letters.size(); ++c) {
            if (letters[c])
                wheel->all += static_cast<char>(c);
        }
    }
}

// Where a name stands among those that begin as it does up to `root`, from 0 to 1.
double NameGuesser::valueOf(std::string_view name, std::size_t root) const
{
    double value = 0;
    double step = 1;
    const std::size_t end = std::min(name.size(), m_wheels.size());
    for (std::size_t i = root; i < end && step > 1e-12; ++i) {
        const std::string &all = m_wheels[i].all;
        if (all.empty())
            break;
        const auto less = [](unsigned char a, unsigned char b) { return a < b; };
        const auto found = std::lower_bound(all.begin(), all.end(), name[i], less);
        step /= static_cast<double>(all.size());
        value += step * static_cast<double>(found - all.begin());
    }
    return value;
}

// The name that stands there, about as exactly as `step`.
std::string NameGuesser::nameAt(std::string name, double value, double step) const
{
    double size = 1;
    for (std::size_t i = name.size(); i < m_wheels.size() && size > step; ++i) {
        const std::string &all = m_wheels[i].all;
        if (all.empty())
            break;
        const auto count = static_cast<double>(all.size());
        const double at = std::min(count - 1, std::floor(value * count + 1e-9));
        if (all[static_cast<std::size_t>(at)] == '/')
            break;
        name += all[static_cast<std::size_t>(at)];
        value = std::max(0.0, value * count - at);
        size /= count;
    }
    while (!isUtf8(name))
        name.pop_back();
    return name;
}

std::string NameGuesser::guess(const Stretch &stretch, std::string_view from, double ahead) const
{
    std::size_t root = commonLength(stretch.first, stretch.last);
    root = std::min(root, commonLength(stretch.last, from));
    while (true) {
        const double step =
            (valueOf(stretch.last, root) - valueOf(stretch.first, root)) / stretch.count;
        const double value = valueOf(from, root) + step * ahead;
        if (step > 0 && value < 1) {
            std::string name = nameAt(std::string(from.substr(0, root)), value, step * ahead / 100);
            const bool isUsable = name > from && name.find('/') == std::string::npos;
            return isUsable ? name : std::string();
        }
        if (root == 0)
            return {};
        --root;
    }
}

double NameGuesser::distance(const Stretch &stretch, std::string_view from,
                             std::string_view to) const
{
    std::size_t root = commonLength(stretch.first, stretch.last);
    root = std::min({root, commonLength(stretch.last, from), commonLength(from, to)});
    const double step =
        (valueOf(stretch.last, root) - valueOf(stretch.first, root)) / stretch.count;
    return step > 0 ? (valueOf(to, root) - valueOf(from, root)) / step : 0;
}

} // namespace hq
