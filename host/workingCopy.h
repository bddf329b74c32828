#pragma once

#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <vector>

// What a working copy's administrative files tell, which the client keeps in each directory.

// What CVS/Entries says of one file or directory.
struct Entry {
  bool directory = false;
  std::string revision;   // of a file: "0" waits to be added, "-1.2" waits to be removed
  std::string timestamp;  // the client's own, with words of its own after a merge
  std::string options;    // such as "-kb"

  bool isAdded() const { return revision == "0"; }
  bool isRemoved() const { return revision.rfind('-', 0) == 0; }
  bool isMerged() const { return timestamp.rfind("Result of merge", 0) == 0; }
  bool hasConflict() const { return timestamp.find('+') != std::string::npos; }
  bool isBinary() const { return options.find("-kb") != std::string::npos; }
};

using Entries = std::map<std::string, Entry>;  // by name

// Reads the lines of CVS/Entries, and of CVS/Entries.Log, where the client notes what has changed
// since it last wrote the other whole.
Entries parseEntries(std::istream& main, std::istream& log);

// None when CVS/Entries cannot be read. When it names no directory at all, every directory that is
// there counts, as it does for the client.
std::optional<Entries> readEntries(const std::string& directory);

// The repository that a working-copy directory records; empty when it records none.
std::string readRecordedRoot(const std::string& directory);

// A file that somebody asks about.
struct VersionedFile {
  std::string path;            // relative to the working copy
  std::optional<Entry> entry;  // none when the administrative files do not name it
};

// Files of one directory.
struct FileGroup {
  enum class State {
    readable,
    lost,        // the administrative files name the directory, and it is not there: no files
    unreadable,  // it is there, and its CVS/Entries cannot be read: no files
  };
  std::string directory;  // relative to the working copy, "." for its root
  State state = State::readable;
  bool isWhole = false;  // all files of the directory, not just some
  std::vector<VersionedFile> files;
};

// For a path that is a file: that file, named by the administrative files or not; grouped by
// directory. For a directory: every file that they name below it, sorted by name, those of a
// directory before those of its subdirectories. No file comes twice.
std::vector<FileGroup> findFiles(const std::string& workingCopy,
                                 const std::vector<std::string>& paths);

// One file of findFiles, for a path that names one.
VersionedFile findFile(const std::string& workingCopy, const std::string& path);

// Where a file that is being edited has the copy that "unedit" brings back.
std::string baseCopyOf(const std::string& workingCopy, const std::string& path);

// What can be seen of a file, without running a client.
struct FileSnapshot {
  std::optional<Entry> entry;
  bool here = false;
  bool edited = false;           // by an announcement in this working copy
  bool hasOpenConflict = false;  // nobody has changed it since a merge left conflicts in it
  // Which contents it has; equal as long as nobody writes or replaces it.
  struct {
    unsigned long long inode = 0;
    long long size = 0, seconds = 0, nanoseconds = 0;
  } contents;

  bool hasContentsOf(const FileSnapshot& other) const;
};

FileSnapshot takeSnapshot(const std::string& workingCopy, const std::string& path);

using Snapshots = std::map<std::string, FileSnapshot>;  // by path

// What can be seen of the files that findFiles finds. Directories are not among them.
Snapshots takeSnapshots(const std::string& workingCopy, const std::vector<std::string>& paths);

// False only when nothing of that name is there. A dangling link counts, and so does what cannot be
// looked at.
bool isHere(const std::string& workingCopy, const std::string& path);

// Whether a path leads to a file that can be read to its end; a pipe would be waited for.
bool isRegularFile(const std::string& workingCopy, const std::string& path);

// Turns a path that the user gives, as seen from the working copy, into what the provider takes:
// relative, without "." and ".." components, and "." for the working copy itself. None when it
// leads outside.
std::optional<std::string> relativePath(const std::string& workingCopy, const std::string& path);

// Such a path as an argument of the client, which takes a leading "-" for an option.
std::string asArgument(const std::string& path);
