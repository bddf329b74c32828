#pragma once

#include <iosfwd>
#include <map>
#include <optional>
#include <string>

// The administrative files that the client keeps in each directory of a working copy.

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

struct Entries {
  std::map<std::string, Entry> byName;
  bool namesDirectories = false;  // or says that there are none

  // Null when the name is not listed.
  const Entry* find(const std::string& name) const;
};

// Reads the lines of CVS/Entries and of CVS/Entries.Log. The client notes changes in the log until
// it writes CVS/Entries anew.
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
