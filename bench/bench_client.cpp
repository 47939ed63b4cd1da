// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// The utility library's walk and copy as a program of their own, for whole-process figures:
//   bench_client walk ADDRESS
//   bench_client pages ADDRESS            the walk, with one page asked for at a time
//   bench_client copy ADDRESS DESTINATION
#include "hqutil.h"
#include "net/timelimits.h"

#include <cstdio>
#include <cstring>

namespace {

int countEntry(void *user, const char *, unsigned int)
{
    ++*static_cast<unsigned long *>(user);
    return 0;
}

int fail(const char *what)
{
    std::fprintf(stderr, "%s failed, error %u\n", what, hqOSGetLastError());
    return 1;
}

} // namespace

int main(int argc, char **argv)
{
    ErrLogSetFileName("bench_client");
    const bool isPageByPage = argc == 3 && std::strcmp(argv[1], "pages") == 0;
    if (isPageByPage)
        hq::timeLimits().page = std::chrono::hours(1);
    if (isPageByPage || (argc == 3 && std::strcmp(argv[1], "walk") == 0)) {
        unsigned long entries = 0;
        if (!hqOSRecurseDirectory(&entries, argv[2], countEntry, HQ_WALK_ONE_LEVEL))
            return fail("walk");
        std::printf("%lu entries\n", entries);
        return 0;
    }
    if (argc == 4 && std::strcmp(argv[1], "copy") == 0)
        return hqOSCopyFile(argv[2], argv[3], 0) ? 0 : fail("copy");
    std::fprintf(stderr, "usage: bench_client walk|pages ADDRESS | copy ADDRESS DESTINATION\n");
    return 2;
}
