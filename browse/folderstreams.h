// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "streamsource.h"

#include <atomic>

// Stream files for all that lies directly in a folder.
struct FolderJob
{
    enum class Kind { Local, S3, Flows };
    Kind kind = Kind::Local;
    QString folder;              // path or address; for flows the repository's text
    QVector<StreamSource> flows; // of a repository; the others are listed
    QString directory;           // where the stream files go
    bool encrypt = false;
};

// How far a job is; written by the thread that runs it.
struct FolderProgress
{
    std::atomic<int> total{-1}; // -1 while the folder is being listed
    std::atomic<int> done{0};
};

struct FolderReport
{
    enum class End { Complete, Stopped, NotListed, NoTarget };
    End end = End::Complete;
    int total = 0;
    int written = 0;
    int replaced = 0; // of those written, in place of an older file
    int renamed = 0;  // of those written, not under the name that the single action gives
    int refused = 0;  // could not be opened for writing
};

// Lists the folder and writes its stream files, on the calling thread; ends with the thread's stop
// token, then between two files. A folder that is not listed completely gets none. Each file is
// what the action on it alone would write, under a name of its own.
FolderReport makeFolderStreams(const FolderJob &job, FolderProgress *progress);
