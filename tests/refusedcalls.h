// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <tuple>
#include <vector>

// From now on this process lives with a system that refuses, by what `plan` holds: "t" files
// without a name, "n" names for them, "l" locks, "o" the other calls that a file system need not
// know; "r" renaming, "c" changes of a mode; "s" makes fdatasync fail.
inline void refuseCalls(const QByteArray &plan)
{
    const auto result = [](int error) {
        return sock_filter{BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ERRNO | unsigned(error)};
    };
    const auto skipUnless = [](unsigned how, unsigned value, unsigned char count) {
        return sock_filter{static_cast<unsigned short>(BPF_JMP | BPF_K | how), 0, count, value};
    };
    std::vector<sock_filter> program{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    const std::tuple<char, unsigned, int> rows[] = {{'l', SYS_flock, ENOLCK},
                                                    {'f', SYS_fstatfs, EIO},
                                                    {'n', SYS_linkat, EOPNOTSUPP},
                                                    {'r', SYS_rename, EPERM},
                                                    {'c', SYS_fchmod, EPERM},
                                                    {'s', SYS_fdatasync, EIO},
                                                    {'o', SYS_renameat2, EOPNOTSUPP},
                                                    {'o', SYS_fallocate, EOPNOTSUPP},
                                                    {'o', SYS_copy_file_range, EOPNOTSUPP},
                                                    {'o', SYS_sync_file_range, EOPNOTSUPP}};
    for (const auto &[letter, call, error] : rows) {
        program.push_back(skipUnless(BPF_JEQ, plan.contains(letter) ? call : ~0U, 1));
        program.push_back(result(error));
    }
    if (plan.contains('t')) {
        program.push_back(skipUnless(BPF_JEQ, SYS_openat, 3));
        program.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[2])));
        program.push_back(skipUnless(BPF_JSET, O_TMPFILE & ~O_DIRECTORY, 1));
        program.push_back(result(EOPNOTSUPP));
    }
    program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0)
        qFatal("no filter of system calls");
}

// As long as it lives, no file gets larger than `size` bytes: as if the disk were full.
class FullDisk
{
public:
    explicit FullDisk(rlim_t size)
    {
        ::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit small{size, m_before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &small);
    }
    ~FullDisk() { ::setrlimit(RLIMIT_FSIZE, &m_before); }

private:
    rlimit m_before{};
};
