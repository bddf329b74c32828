#pragma once

#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

struct Session;

// Reads the administrative files that the client keeps in each directory of a working copy.

// What CVS/Entries says of a file or directory; empty for a name that is not listed.
struct Entry {
  bool listed = false;
  bool directory = false;
  std::string revision;   // of a file: "0" waits to be added, "-1.2" waits to be removed
  std::string timestamp;  // as the client writes it, with extra words after a merge
  std::string options;    // such as "-kb"

  bool isAdded() const { return revision == "0"; }
  bool isRemoved() const { return revision.rfind('-', 0) == 0; }
  bool isMerged() const { return timestamp.rfind("Result of merge", 0) == 0; }
  bool hasConflict() const { return timestamp.find('+') != std::string::npos; }
  bool isBinary() const { return options.find("-kb") != std::string::npos; }
};

struct Entries {
  std::map<std::string, Entry> byName;
  bool nameDirectories = false;  // or say that there are none
};

// Reads CVS/Entries and CVS/Entries.Log, where the client notes changes until it writes the other.
Entries parseEntries(std::istream& main, std::istream& log);

// None when CVS/Entries cannot be read. Where it says nothing of directories, every working-copy
// directory that is there is listed, as the client counts them.
std::optional<Entries> readEntries(const std::string& directory);

// The repository that a working-copy directory records; empty when it records none.
std::string readRecordedRoot(const std::string& directory);

// The copy that the client keeps of a file being edited; "unedit" puts it back.
std::string baseCopyOf(const std::string& file);

// The revision from which that copy was taken; empty when none is recorded.
std::string readBaseRevision(const std::string& file);

// A file, as the administrative files and the system show it.
struct File {
  std::string path;  // relative to the working copy
  Entry entry;
  bool here = false, isLink = false;
  bool hasOpenConflict = false;  // nobody has changed it since a merge left conflicts in it
  bool isAsFetched = false;      // nobody has changed it since the client wrote it
  // Inode, size, seconds and nanoseconds: equal as long as nobody writes or replaces the file.
  std::tuple<unsigned long long, long long, long long, long> contents = {};
};

using Paths = std::vector<std::string>;

// The directories above a path, from the top down, and the path itself.
Paths stepsOf(const std::string& path);

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
  std::vector<File> files;
};

using FileGroups = std::vector<FileGroup>;

// A path of a file gives that file, also one that the administrative files do not name, grouped by
// directory. A directory gives every file that they name below it, by name, before the files of its
// subdirectories; links to directories are followed as the client does. No name comes twice.
FileGroups findFiles(const Session& session, const Paths& paths);

// What findFiles finds for the path of a file.
File findFile(const std::string& workingCopy, const std::string& path);

// The first directory on a path that records another repository than the working copy itself does,
// or where that records none, than the session's; none when there is none.
std::optional<std::string> findForeign(const Session& session, const std::string& path);

// Turns a user's path, which starts at the working copy, into the form that the provider takes:
// relative, without "." and "..", and "." for the working copy itself. It is resolved as the system
// would, but for its last name, and links in place of controlled directories. None when outside.
std::optional<std::string> relativePath(const std::string& workingCopy, const std::string& path);
