#include "workingCopy.h"

#include <filesystem>
#include <fstream>
#include <map>

namespace fs = std::filesystem;

namespace {

struct Entry {
  bool directory;
  bool added;
};
using Entries = std::map<std::string, Entry>;

// One line of an Entries file: "/NAME/REVISION/..." for a file, "D/NAME/..." for a directory.
void applyEntry(const std::string& line, bool remove, Entries& entries) {
  const bool directory = line.rfind("D/", 0) == 0;
  if (!directory && line.rfind('/', 0) != 0) return;
  const std::size_t start = directory ? 2 : 1;
  const std::size_t end = line.find('/', start);
  if (end == std::string::npos || end == start) return;
  const std::string name = line.substr(start, end - start);
  if (remove) {
    entries.erase(name);
  } else {
    entries[name] = {directory, line.compare(end, 3, "/0/") == 0};
  }
}

Entries readEntries(const fs::path& directory) {
  Entries entries;
  std::string line;
  std::ifstream main(directory / "CVS/Entries");
  while (std::getline(main, line)) applyEntry(line, false, entries);
  // What the client has noted since it last wrote the file whole.
  std::ifstream log(directory / "CVS/Entries.Log");
  while (std::getline(log, line)) {
    const bool remove = line.rfind("R ", 0) == 0;
    if (remove || line.rfind("A ", 0) == 0) applyEntry(line.substr(2), remove, entries);
  }
  return entries;
}

void listFiles(const std::string& workingCopy, const std::string& path,
               std::vector<VersionedFile>& files) {
  const std::string prefix = path == "." ? "" : path + '/';
  const Entries entries = readEntries(fs::path(workingCopy) / path);
  for (const auto& [name, entry] : entries) {
    if (!entry.directory) files.push_back({prefix + name, entry.added});
  }
  for (const auto& [name, entry] : entries) {
    if (entry.directory) listFiles(workingCopy, prefix + name, files);
  }
}

VersionedFile findFile(const std::string& workingCopy, const std::string& path) {
  const fs::path file(path);
  const Entries entries = readEntries(fs::path(workingCopy) / file.parent_path());
  const auto found = entries.find(file.filename());
  return {path, found != entries.end() && found->second.added};
}

}  // namespace

std::string readRecordedRoot(const std::string& directory) {
  std::ifstream file(fs::path(directory) / "CVS/Root");
  std::string root;
  std::getline(file, root);
  return root;
}

std::vector<VersionedFile> findFiles(const std::string& workingCopy,
                                     const std::vector<std::string>& paths) {
  std::vector<VersionedFile> files;
  for (const auto& path : paths) {
    std::error_code ignored;
    if (fs::is_directory(fs::path(workingCopy) / path, ignored)) {
      listFiles(workingCopy, path, files);
    } else {
      files.push_back(findFile(workingCopy, path));
    }
  }
  return files;
}

std::optional<std::string> relativePath(const std::string& workingCopy, const std::string& path) {
  if (path.empty()) return std::nullopt;
  fs::path given = path;
  fs::path root = fs::absolute(workingCopy).lexically_normal() / "";
  if (given.is_absolute()) {
    // Either may be written by way of a symbolic link.
    root = fs::canonical(workingCopy) / "";
    given = fs::weakly_canonical(given.parent_path()) / given.filename();
  }
  std::string relative = (root / given).lexically_normal().lexically_relative(root).string();
  if (relative == ".." || relative.rfind("../", 0) == 0) return std::nullopt;
  if (relative.size() > 1 && relative.back() == '/') relative.pop_back();
  if (relative.empty()) return ".";
  return relative[0] == '-' ? "./" + relative : relative;
}
