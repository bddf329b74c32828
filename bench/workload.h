#pragma once

#include <filesystem>
#include <string>
#include <vector>

// A directory for everything the benchmark makes, removed with the object.
class Workspace {
 public:
  Workspace();
  ~Workspace();
  Workspace(const Workspace&) = delete;
  Workspace& operator=(const Workspace&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// What a working copy of the real client holds.
struct TreeSizes {
  std::size_t flatFiles;          // in the directory "flat"
  std::size_t directories;        // in the directory "deep", named "part0" and so on
  std::size_t filesPerDirectory;  // in each of those
};

// The names of the files in a directory of `count`, sorted, as the client lists them.
std::vector<std::string> fileNames(std::size_t count);

// Writes `count` lines of 66 characters each.
void writeLines(const std::filesystem::path& file, std::size_t count);

// Writes what "status -l" tells of a directory of `count` files, ten lines each, and returns the
// names of those that are there.
std::vector<std::string> writeStatus(const std::filesystem::path& file, std::size_t count);

// Makes a directory that the provider takes for a working copy.
void writeAdministration(const std::filesystem::path& directory);

// Makes a repository with the client, and returns the working copy checked out from it.
std::filesystem::path checkOutTree(const std::string& client, const std::string& repository,
                                   const std::filesystem::path& workspace, const TreeSizes& sizes);
