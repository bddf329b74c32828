#include "workingCopy.h"

#include <sys/stat.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <set>

namespace fs = std::filesystem;

namespace {

// One line of an Entries file: "/NAME/REVISION/TIMESTAMP/OPTIONS/TAG" for a file, "D/NAME////" for
// a directory.
void applyEntry(const std::string& line, bool remove, Entries& entries) {
  const bool directory = line.rfind("D/", 0) == 0;
  if (!directory && line.rfind('/', 0) != 0) return;
  std::vector<std::string> fields;
  for (std::size_t slash = line.find('/'); slash != std::string::npos && fields.size() < 4;) {
    const std::size_t next = line.find('/', slash + 1);
    fields.push_back(line.substr(slash + 1, next == std::string::npos ? next : next - slash - 1));
    slash = next;
  }
  const std::string name = fields[0];
  if (name.empty() || fields.size() < 2) return;
  fields.resize(4);
  if (remove) {
    entries.erase(name);
  } else {
    entries[name] = {directory, fields[1], fields[2], fields[3]};
  }
}

// Gathers the files of findFiles, none of them twice.
class Finder {
 public:
  explicit Finder(const std::string& workingCopy) : workingCopy_(workingCopy) {}

  void addPath(const std::string& path) {
    const VersionedFile file = findFile(workingCopy_, path);
    const bool isListed = file.entry.has_value() && file.entry->directory;
    std::error_code ignored;
    if (isListed || fs::is_directory(fs::path(workingCopy_) / path, ignored)) {
      addDirectory(path);
    } else if (seen_.insert(path).second) {
      const std::string parent = fs::path(path).parent_path().string();
      const std::string directory = parent.empty() ? "." : parent;
      // One group for all: clients in one directory would wait for each other's locks.
      const auto [group, isNew] = partial_.emplace(directory, groups_.size());
      if (isNew) groups_.push_back({directory, FileGroup::State::readable, false, {}});
      groups_[group->second].files.push_back(file);
    }
  }

  std::vector<FileGroup> takeGroups() { return std::move(groups_); }

 private:
  void addDirectory(const std::string& path) {
    if (!seen_.insert(path + '/').second) return;
    const fs::path directory = fs::path(workingCopy_) / path;
    FileGroup group = {path, FileGroup::State::readable, true, {}};
    const std::optional<Entries> entries = readEntries(directory.string());
    std::error_code ignored;
    if (!entries.has_value()) {
      const bool there = fs::exists(directory, ignored);
      group.state = there ? FileGroup::State::unreadable : FileGroup::State::lost;
      groups_.push_back(std::move(group));
      return;
    }
    const std::string prefix = path == "." ? "" : path + '/';
    for (const auto& [name, entry] : *entries) {
      if (entry.directory || !seen_.insert(prefix + name).second) continue;
      group.files.push_back({prefix + name, entry});
    }
    groups_.push_back(std::move(group));
    for (const auto& [name, entry] : *entries) {
      if (entry.directory) addDirectory(prefix + name);
    }
  }

  const std::string& workingCopy_;
  std::vector<FileGroup> groups_;
  std::map<std::string, std::size_t> partial_;  // which group has single files of a directory
  std::set<std::string> seen_;                  // paths; those of directories end in "/"
};

// A time as the client writes it.
std::string timestampOf(const struct stat& file) {
  struct tm utc = {};
  char text[26] = "";
  if (gmtime_r(&file.st_mtim.tv_sec, &utc) == nullptr || asctime_r(&utc, text) == nullptr)
    return "";
  return {text, 24};
}

FileSnapshot takeSnapshot(const std::string& workingCopy, const VersionedFile& file) {
  FileSnapshot snapshot;
  snapshot.entry = file.entry;
  struct stat found = {};
  snapshot.here = lstat((fs::path(workingCopy) / file.path).c_str(), &found) == 0;
  if (snapshot.here) {
    const std::string conflict = '+' + timestampOf(found);
    snapshot.hasOpenConflict =
        file.entry.has_value() && file.entry->timestamp.find(conflict) != std::string::npos;
    snapshot.contents = {found.st_ino, found.st_size, found.st_mtim.tv_sec, found.st_mtim.tv_nsec};
  }
  std::error_code ignored;
  snapshot.edited = fs::exists(baseCopyOf(workingCopy, file.path), ignored);
  return snapshot;
}

std::optional<std::string> relativeTo(const fs::path& root, const fs::path& path) {
  std::string relative = (root / path).lexically_normal().lexically_relative(root).string();
  if (relative == ".." || relative.rfind("../", 0) == 0) return std::nullopt;
  if (relative.size() > 1 && relative.back() == '/') relative.pop_back();
  return relative.empty() ? "." : relative;
}

}  // namespace

Entries parseEntries(std::istream& main, std::istream& log) {
  Entries entries;
  std::string line;
  while (std::getline(main, line)) applyEntry(line, false, entries);
  while (std::getline(log, line)) {
    const bool remove = line.rfind("R ", 0) == 0;
    if (remove || line.rfind("A ", 0) == 0) applyEntry(line.substr(2), remove, entries);
  }
  return entries;
}

std::optional<Entries> readEntries(const std::string& directory) {
  const fs::path file = fs::path(directory) / "CVS/Entries";
  std::error_code ignored;
  std::ifstream main(file);
  if (!main.is_open() || !fs::is_regular_file(file, ignored)) return std::nullopt;
  std::ifstream log(fs::path(directory) / "CVS/Entries.Log");
  return parseEntries(main, log);
}

std::string readRecordedRoot(const std::string& directory) {
  std::ifstream file(fs::path(directory) / "CVS/Root");
  std::string root;
  std::getline(file, root);
  return root;
}

std::vector<FileGroup> findFiles(const std::string& workingCopy,
                                 const std::vector<std::string>& paths) {
  Finder finder(workingCopy);
  for (const auto& path : paths) finder.addPath(path);
  return finder.takeGroups();
}

VersionedFile findFile(const std::string& workingCopy, const std::string& path) {
  const fs::path file(path);
  const auto entries = readEntries((fs::path(workingCopy) / file.parent_path()).string());
  if (!entries.has_value()) return {path, std::nullopt};
  const auto found = entries->find(file.filename().string());
  if (found == entries->end()) return {path, std::nullopt};
  return {path, found->second};
}

std::string baseCopyOf(const std::string& workingCopy, const std::string& path) {
  const fs::path file = fs::path(workingCopy) / path;
  return (file.parent_path() / "CVS/Base" / file.filename()).string();
}

bool FileSnapshot::hasContentsOf(const FileSnapshot& other) const {
  return here == other.here && contents.inode == other.contents.inode &&
         contents.size == other.contents.size && contents.seconds == other.contents.seconds &&
         contents.nanoseconds == other.contents.nanoseconds;
}

FileSnapshot takeSnapshot(const std::string& workingCopy, const std::string& path) {
  return takeSnapshot(workingCopy, findFile(workingCopy, path));
}

Snapshots takeSnapshots(const std::string& workingCopy, const std::vector<std::string>& paths) {
  Snapshots snapshots;
  for (const auto& group : findFiles(workingCopy, paths)) {
    for (const auto& file : group.files) {
      snapshots[file.path] = takeSnapshot(workingCopy, file);
    }
  }
  return snapshots;
}

bool isHere(const std::string& workingCopy, const std::string& path) {
  std::error_code ignored;
  return fs::exists(fs::symlink_status(fs::path(workingCopy) / path, ignored));
}

std::optional<std::string> relativePath(const std::string& workingCopy, const std::string& path) {
  const fs::path given = path;
  if (!given.is_absolute()) {
    return relativeTo(fs::absolute(workingCopy).lexically_normal() / "", given);
  }
  // Either may be written by way of symbolic links, the path's last name excepted: it may be one
  // that stands in the working copy, unless it is the way to it.
  const fs::path root = fs::canonical(workingCopy) / "";
  const auto relative =
      relativeTo(root, fs::weakly_canonical(given.parent_path()) / given.filename());
  return relative.has_value() ? relative : relativeTo(root, fs::weakly_canonical(given));
}

std::string asArgument(const std::string& path) {
  return path[0] == '-' ? "./" + path : path;
}
