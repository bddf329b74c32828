#pragma once

#include <optional>
#include <string>
#include <vector>

// A file that a working copy's administrative files name.
struct VersionedFile {
  std::string path;  // relative to the working copy
  bool added;        // scheduled for addition: not in the repository yet
};

// The repository that a working-copy directory records; empty when it records none.
std::string readRecordedRoot(const std::string& directory);

// The files among the paths, which the administrative files may or may not name, and for each
// directory among them ("." for the whole working copy) all that are named below it: by name, those
// of a directory before those of its subdirectories. Directories that are not there are passed
// over.
std::vector<VersionedFile> findFiles(const std::string& workingCopy,
                                     const std::vector<std::string>& paths);

// A path given by the user, who means it as seen from the working copy, as the provider takes it:
// relative and without "." and ".." components, but for the "./" that keeps the client from taking
// a leading "-" for an option. None when it is empty or leads outside.
std::optional<std::string> relativePath(const std::string& workingCopy, const std::string& path);
