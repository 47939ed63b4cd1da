# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

"""The faults that mutate.py seeds: where the code takes one, and how it looks with it."""

import math
import random
import re

ROOMS = ("platform/base", "platform/net", "platform", "core", "store", "browse", "ui", "app")
# What costs people data or secrets is drawn more often, what they hardly see less often.
HARM = ((re.compile(r"secret|token|passw|redact|credential|sign|redirect|verify|mode|authori", re.I), 3),
        (re.compile(r"write|commit|rename|remove|link|sync|range|offset|position|length|cond|etag"
                    r"|target|cancel|stop|retry|error", re.I), 2),
        (re.compile(r"geometry|screen|icon|width|height|style|font|toolTip|dpi|\btr\(", re.I), 0.4))
MASKED = re.compile(
    r"//[^\n]*|/\*.*?\*/"
    r'|R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|(?<!\w)' r"'(?:\\.|[^'\\\n])+'"
    # What is compiled elsewhere only, then every directive.
    r"|^[ \t]*#\s*if(?:def)? (?:Q_OS_WIN|_WIN32|QT_VERSION >= QT_VERSION_CHECK\(6).*?#\s*(?:else|endif)"
    r"|^[ \t]*#(?:\\\n|[^\n])*", re.DOTALL | re.MULTILINE)
PARTS = (";", "&&", "||", ",", "?", " : ")  # end a part of a condition
NOT_CALLS = re.compile(r"(?:if|for|while|switch|return|case|else|do|delete|throw|using|std::m(?:in|ax)|Q_\w+"
                       r"|static_assert|namespace|friend|template|enum)\b")


def masked(text):
    """The code alone: the same length and lines, but texts, comments and directives filled up."""
    def fill(match):
        if match[0][0] in "\"'":
            return match[0][0] + "_" * (len(match[0]) - 2) + match[0][0]
        return re.sub(r"[^\n]", " ", match[0])
    return MASKED.sub(fill, text)


def end_of(code, start, stops):
    """Where an expression ends: at one of the stops or a closing bracket, outside of inner brackets."""
    depth, position = 0, start
    while position < len(code):
        if depth == 0 and code.startswith(stops, position):
            return position
        depth += (code[position] in "([{") - (code[position] in ")]}")
        if depth < 0:
            return position
        position += 1
    return position


class Fault:
    """Code in [start, end) gets `before` and `after` around it, with the fault's number for @."""

    def __init__(self, rule, start, end, before, after, what):
        self.rule, self.start, self.end, self.what = rule, start, end, re.sub(r"\s+", " ", what)
        self.before, self.after = re.sub(r"\s+", " ", before), after
        self.is_real = True


def negated_conditions(text, code, _):
    for match in re.finditer(r"\b(?:if|while) \(|(?:&&|\|\|)\s+"
                             r"|\breturn (?=[^;?{]*(?:[=!]=|&&|\|\|| [<>]=? )[^;?{]*;)", code):
        end = end_of(code, match.end(), PARTS if match[0][0] in "&|" else (";",))
        condition = text[match.end():end]
        if not re.match(r"(?:const )?[\w:<>]+ [*&]?\w+ = ", condition) and "{" not in condition:
            yield Fault("negated condition", match.end(), end,
                        "pelloryFault(@) != static_cast<bool>(", ")", f"!({condition})")


def off_by_one(text, code, chance):
    for match in re.finditer(r"(?<=[\w)\]]) [<>]=? (?=[\w(])", code):
        sign, end = chance.choice(("", "-")), end_of(code, match.end(), PARTS)
        yield Fault("off by one", match.end(), match.end(), f"{sign}int(pelloryFault(@)) + ", "",
                    f"{match[0].strip()} {text[match.end():end]} {sign or '+'} 1")


def dropped_statements(text, code, _):
    changes = re.compile(r"(?:emit )?[a-z][\w:.\[\]>-]*\(|\*?[\w.:>()\[\]-]+ [-+|&*/]?= |\+\+|--")
    for match in re.finditer(r"(?:(?<=[;{})])|(?<=[^:]:)|(?<=else))\s*\n[ \t]+(?=[\w*+-])", code):
        end = end_of(code, match.end(), (";",))
        statement = code[match.end():end]
        if code[end:end + 1] == ";" and statement.count("\n") < 15 and changes.match(statement) and \
                not NOT_CALLS.match(statement):
            yield Fault("dropped statement", match.end(), end,
                        "pelloryFault(@) ? static_cast<void>(0) : static_cast<void>(", ")",
                        f"without {text[match.end():end]}")


def swapped_arguments(text, code, chance):
    for match in re.finditer(r"(?:(?<=[=(,{};&|!?:<+)]\s)|(?<=[(!])|(?<=return )|(?<=    ))"
                             r"\w[\w:]*(?:(?:\.|->)\w+)*\(", code):
        start, arguments = match.end(), []
        while not NOT_CALLS.match(match[0]) and (not arguments or code[start - 1] == ","):
            arguments.append((start, end_of(code, start, (",",))))
            start = arguments[-1][1] + 1
        if len(arguments) > 1:
            at = chance.randrange(len(arguments) - 1)
            texts = [text[begin:end].strip() for begin, end in arguments]
            texts[at], texts[at + 1] = texts[at + 1], texts[at]
            changed = match[0] + ", ".join(texts) + ")"
            fault = Fault("swapped arguments", match.start(), start,
                          f"(pelloryFault(@) ? {changed} : ", ")", changed)
            # Qt takes the one as a text; two equal arguments are no fault.
            fault.is_real = not re.search(r"\b(?:SIGNAL|SLOT)\($", code[:match.start()]) and \
                len(set(texts[at:at + 2])) == 2
            yield fault


def other_constants(text, code, chance):
    for match in re.finditer(r"(?<![\w.'])(\d[\d']*)(?![\w.'])|\b(true|false)\b"
                             r"|(?<![\w\"'])\"_+\"(?!\w)", code):
        literal, rule = text[match.start():match.end()], "other constant"
        if match[1]:
            number = int(match[1].replace("'", ""), 8 if re.match(r"0\d", match[1]) else 10)
            other = str(number + 1 if number < 10 else chance.choice((number * 2, number // 2)))
        elif match[2]:
            other = "false" if literal == "true" else "true"
        else:
            rule, other = "other text", re.sub(
                r"([A-Za-z0-9])([^A-Za-z0-9]*)\"$",
                lambda last: ("x" if last[1] != "x" else "y") + last[2] + '"', literal)
            beside = code[:match.start()].rstrip()[-1:] + code[match.end():].lstrip()[:1]
            if other == literal or '"' in beside:
                continue
        yield Fault(rule, match.start(), match.end(), f"(pelloryFault(@) ? {other} : ", ")",
                    f"{literal} -> {other}")


RULES = (negated_conditions, off_by_one, dropped_statements, swapped_arguments, other_constants)


def room_of(path):
    return next((room for room in ROOMS if path.startswith(room + "/")), None)


def places_of(path, text, seed):
    """All faults that the file can have, at most one of a rule in a line."""
    chance, lines = random.Random(f"{seed} {path}"), text.splitlines()
    code, places = masked(text), {}
    found = [fault for rule in RULES for fault in rule(text, code, chance)]
    chance.shuffle(found)
    for fault in found:
        fault.path, fault.line = path, text.count("\n", 0, fault.start) + 1
        fault.last_line = text.count("\n", 0, fault.end) + 1
        fault.id = f"{path}:{fault.line} {fault.rule}: {fault.what}"
        fault.harm = next((harm for words, harm in HARM if words.search(path + lines[fault.line - 1])), 1)
        places.setdefault((fault.line, fault.rule), fault)
    return list(places.values())


def draw(files, seed, count, only=None):
    """The faults in the order of the draw. Each room has `quota` of them, and as many for those that
    do not compile; more where there is more code, but not in proportion. One begins in a line."""
    rooms = {room: [] for room in ROOMS if only in (None, room)}
    for path, text in files.items():
        if room_of(path) in rooms:
            rooms[room_of(path)] += places_of(path, text, seed)
    whole = sum(math.sqrt(len(places)) for places in rooms.values())
    drawn, chance = [], random.Random(seed)
    for places in rooms.values():
        rules = [fault.rule for fault in places]
        for fault in places:
            fault.order = chance.random() ** (math.sqrt(rules.count(fault.rule)) / fault.harm)
            fault.quota = round(count * math.sqrt(len(places)) / whole)
        first = {}
        for fault in sorted(places, key=lambda fault: -fault.order):
            first.setdefault((fault.path, fault.line), fault)
        drawn += list(first.values())[:2 * fault.quota]
    for number, fault in enumerate(drawn):
        fault.number = number
    return [fault for fault in drawn if fault.is_real]


def with_faults(path, text, faults):
    """The file's text with its faults in it; every line keeps its number."""
    code, edits = masked(text), set()
    for fault in faults:
        number, length = str(fault.number), fault.end - fault.start
        edits.add((fault.start, fault.start, (1, -length), fault.before.replace("@", number)))
        edits.add((fault.end, fault.end, (0, length), fault.after))
        # A constant that a fault may change is not known to the compiler any more.
        at = code.rfind("constexpr", 0, fault.start)
        if fault.rule.startswith("other") and at >= 0 and ";" not in code[at:fault.start]:
            shared = path.endswith(".h") and code[at - 1:at] == "\n"
            edits.add((at, at + 9, (1, 0), "inline const" if shared else "const"))
    for start, end, _, inserted in sorted(edits, reverse=True):
        text = text[:start] + inserted + text[end:]
    return text
