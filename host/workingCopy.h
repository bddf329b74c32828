#pragma once

#include <optional>
#include <string>
#include <vector>

#include "entries.h"

// Finds the files of a working copy by its administrative files.

// A file that somebody asks about.
struct VersionedFile {
  std::string path;            // relative to the working copy
  std::optional<Entry> entry;  // none when the administrative files do not name it

  bool isAdded() const { return entry.has_value() && entry->isAdded(); }
  bool isRemoved() const { return entry.has_value() && entry->isRemoved(); }
  std::string revision() const { return entry.has_value() ? entry->revision : ""; }
};

// Files of one directory.
struct FileGroup {
  enum class State {
    readable,
    missing,     // the administrative files name it, but it is not there: no files
    unreadable,  // it is there, but its CVS/Entries cannot be read: no files
    foreign,     // it belongs to another repository and is not entered: no files
  };
  std::string directory;  // relative to the working copy, "." for its root
  State state = State::readable;
  bool isWhole = false;  // all files of the directory, not just some
  std::vector<VersionedFile> files;
};

// A path of a file gives that file, even when the administrative files do not name it; such files
// are grouped by directory. A directory gives every file that they name below it, sorted by name,
// before the files of its subdirectories; links to directories are followed as the client does. No
// file comes twice under one name.
std::vector<FileGroup> findFiles(const std::string& workingCopy,
                                 const std::vector<std::string>& paths);

// What findFiles finds for the path of a file.
VersionedFile findFile(const std::string& workingCopy, const std::string& path);

// The first directory on a path that records another repository than the working copy itself does;
// none when there is none.
std::optional<std::string> findForeign(const std::string& workingCopy, const std::string& path);

// Turns a user's path, which starts at the working copy, into the form that the provider takes:
// relative, without "." and ".." components, and "." for the working copy itself. It is resolved as
// the system would, but for its last name, and but for links in place of directories under version
// control. None when it leads outside.
std::optional<std::string> relativePath(const std::string& workingCopy, const std::string& path);
