// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bitset>
#include <string>
#include <string_view>
#include <vector>

namespace hq {

// Learns from names in order how the names of a level are made, and says which one may stand so
// many names further on.
//
// A name is read like a counter whose wheels are its bytes. A wheel has the letters that were seen
// at its place, and has to go on through their kinds (digits, letters) until the wheel before it
// was seen to turn. Where names are uneven a guess is wrong, which costs time but nothing else.
class NameGuesser
{
public:
    // `name` comes right behind `before`, which is empty where it is not known.
    void learn(std::string_view before, std::string_view name);
    // To be called behind the last learn().
    void conclude();

    // `count` names stand behind `first` up to `last`.
    struct Stretch
    {
        std::string_view first;
        std::string_view last;
        double count;
    };
    // A name about `ahead` names behind `from`, if they go on as in the stretch; valid UTF-8 that
    // begins like a name and holds no "/". Empty where there is none.
    std::string guess(const Stretch &stretch, std::string_view from, double ahead) const;
    // How many names may stand between the two.
    double distance(const Stretch &stretch, std::string_view from, std::string_view to) const;

private:
    struct Wheel
    {
        std::bitset<256> letters;
        bool isKnown = false; // it was seen to its end
        std::string all;      // the letters that it may have, in order
    };

    double valueOf(std::string_view name, std::size_t root) const;
    std::string nameAt(std::string name, double value, double step) const;

    std::vector<Wheel> m_wheels;
};

} // namespace hq
