#pragma once

#include <functional>
#include <map>
#include <string>
#include <tuple>

#include "workingCopy.h"

// Sees what an operation has changed in a working copy, without running a client.

struct FileSnapshot {
  VersionedFile file;
  bool here = false;
  bool hasOpenConflict = false;  // nobody has changed it since a merge left conflicts in it
  // Inode, size, seconds and nanoseconds: equal as long as nobody writes or replaces the file.
  std::tuple<unsigned long long, long long, long long, long> contents;
};

FileSnapshot takeSnapshot(const std::string& workingCopy, const VersionedFile& file);

using Snapshots = std::map<std::string, FileSnapshot>;  // by path

// Snapshots of files, but not of directories.
Snapshots takeSnapshots(const std::string& workingCopy, const std::vector<FileGroup>& groups);

// Puts what has happened to a file in words; empty for nothing.
using Describe = std::function<std::string(const FileSnapshot& before, const FileSnapshot& after)>;

// Says what has happened to each file, and returns whether there was anything to say.
bool sayChanges(const Snapshots& before, const Snapshots& after, const Describe& describe);

// "VERB PATH 1.1 -> 1.2", without a revision that is not known.
std::string describeChange(const std::string& verb, const std::string& path,
                           const std::string& from, const std::string& to);
