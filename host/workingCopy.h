#pragma once

#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <vector>

// Reads the administrative files that the client keeps in each directory of a working copy.

// What CVS/Entries says of one file or directory.
struct Entry {
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

using Entries = std::map<std::string, Entry>;  // by name

// Reads the lines of CVS/Entries and of CVS/Entries.Log. The client notes changes in the log until
// it writes CVS/Entries anew.
Entries parseEntries(std::istream& main, std::istream& log);

// None when CVS/Entries cannot be read. When it has no line about directories, every working-copy
// directory that is there counts, as it does for the client.
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
    lost,        // the administrative files name it, but it is not there: no files
    unreadable,  // it is there, but its CVS/Entries cannot be read: no files
  };
  std::string directory;  // relative to the working copy, "." for its root
  State state = State::readable;
  bool isWhole = false;  // all files of the directory, not just some
  std::vector<VersionedFile> files;
};

// A path of a file gives that file, even when the administrative files do not name it; such files
// are grouped by directory. A directory gives every file that they name below it, sorted by name,
// before the files of its subdirectories. No file comes twice.
std::vector<FileGroup> findFiles(const std::string& workingCopy,
                                 const std::vector<std::string>& paths);

// What findFiles finds for the path of a file.
VersionedFile findFile(const std::string& workingCopy, const std::string& path);

// The path of the copy that the client keeps of a file being edited; "unedit" brings it back.
std::string baseCopyOf(const std::string& workingCopy, const std::string& path);

// What can be seen of a file, without running a client.
struct FileSnapshot {
  std::optional<Entry> entry;
  bool here = false;
  bool edited = false;           // by an announcement in this working copy
  bool hasOpenConflict = false;  // nobody has changed it since a merge left conflicts in it
  // Identifies the contents; stays equal as long as nobody writes or replaces the file.
  struct {
    unsigned long long inode = 0;
    long long size = 0, seconds = 0, nanoseconds = 0;
  } contents;

  bool hasContentsOf(const FileSnapshot& other) const;
};

FileSnapshot takeSnapshot(const std::string& workingCopy, const std::string& path);

using Snapshots = std::map<std::string, FileSnapshot>;  // by path

// Snapshots of the files that findFiles finds. Directories are not among them.
Snapshots takeSnapshots(const std::string& workingCopy, const std::vector<std::string>& paths);

// False only when nothing of that name is there. A dangling link counts as there, and so does a
// name that cannot be examined.
bool isHere(const std::string& workingCopy, const std::string& path);

// Whether a path leads to a file that can be read to its end; a pipe would be waited for.
bool isRegularFile(const std::string& workingCopy, const std::string& path);

// Turns a user's path, which starts at the working copy, into the form that the provider takes:
// relative, without "." and ".." components, and "." for the working copy itself. None when it
// leads outside.
std::optional<std::string> relativePath(const std::string& workingCopy, const std::string& path);

// Makes such a path an argument of the client, which takes a leading "-" for an option.
std::string asArgument(const std::string& path);
