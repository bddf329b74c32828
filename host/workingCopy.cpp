#include "workingCopy.h"

#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <set>

namespace fs = std::filesystem;

namespace {

// Cuts the next field, which ends at a slash, off the front of `line`.
std::string takeField(std::string_view& line) {
  const std::string_view field = line.substr(0, line.find('/'));
  line.remove_prefix(std::min(field.size() + 1, line.size()));
  return std::string(field);
}

// One line of an Entries file: "/NAME/REVISION/TIMESTAMP/OPTIONS/TAG" for a file, "D/NAME////" for
// a directory.
void applyEntry(std::string_view line, bool remove, Entries& entries) {
  const bool directory = line.substr(0, 1) == "D";
  if (directory) line.remove_prefix(1);
  if (line.substr(0, 1) != "/") return;
  line.remove_prefix(1);
  const std::string name = takeField(line);
  if (name.empty() || line.empty()) return;
  if (remove) {
    entries.erase(name);
    return;
  }
  Entry& entry = entries[name];
  entry.directory = directory;
  for (std::string* field : {&entry.revision, &entry.timestamp, &entry.options}) {
    *field = takeField(line);
  }
}

// Whether an Entries file has a line about directories; a lone "D" says that there are none.
bool hasDirectoryLine(std::istream& lines) {
  std::string line;
  while (std::getline(lines, line)) {
    if (line.rfind('D', 0) == 0) return true;
  }
  return false;
}

// Gathers the files of findFiles, each once.
class Finder {
 public:
  explicit Finder(const std::string& workingCopy) : workingCopy_(workingCopy) {}

  // What the administrative files say of a path.
  VersionedFile look(const std::string& path) {
    const fs::path file(path);
    const auto& entries = entriesOf(file.parent_path().string());
    if (!entries.has_value()) return {path, std::nullopt};
    const auto found = entries->find(file.filename().string());
    if (found == entries->end()) return {path, std::nullopt};
    return {path, found->second};
  }

  void addPath(const std::string& path) {
    const VersionedFile file = look(path);
    const bool isListed = file.entry.has_value() && file.entry->directory;
    std::error_code ignored;
    if (isListed || fs::is_directory(fs::path(workingCopy_) / path, ignored)) {
      addDirectory(path);
    } else if (files_.insert(path).second) {
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
  // Each directory's Entries are read once, however many files are asked for.
  const std::optional<Entries>& entriesOf(const std::string& directory) {
    const auto known = entries_.find(directory);
    if (known != entries_.end()) return known->second;
    return entries_.emplace(directory, readEntries((fs::path(workingCopy_) / directory).string()))
        .first->second;
  }

  void addDirectory(const std::string& path) {
    if (!directories_.insert(path).second) return;
    const std::optional<Entries>& entries = entriesOf(path);
    FileGroup group = {path, FileGroup::State::readable, true, {}};
    if (!entries.has_value()) {
      group.state =
          isHere(workingCopy_, path) ? FileGroup::State::unreadable : FileGroup::State::lost;
      groups_.push_back(std::move(group));
      return;
    }
    const std::string prefix = path == "." ? "" : path + '/';
    for (const auto& [name, entry] : *entries) {
      if (entry.directory || !files_.insert(prefix + name).second) continue;
      group.files.push_back({prefix + name, entry});
    }
    groups_.push_back(std::move(group));
    for (const auto& [name, entry] : *entries) {
      if (entry.directory && !isLink(prefix + name)) addDirectory(prefix + name);
    }
  }

  bool isLink(const std::string& path) const {
    std::error_code ignored;
    return fs::is_symlink(fs::path(workingCopy_) / path, ignored);
  }

  const std::string& workingCopy_;
  std::vector<FileGroup> groups_;
  std::map<std::string, std::size_t> partial_;  // the group for single files of a directory
  std::set<std::string> files_, directories_;   // that are in a group
  std::map<std::string, std::optional<Entries>> entries_;  // by directory
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
  const bool isSeen = lstat((fs::path(workingCopy) / file.path).c_str(), &found) == 0;
  snapshot.here = isSeen || isHere(workingCopy, file.path);
  if (isSeen) {
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
    if (!remove && line.rfind("A ", 0) != 0) continue;
    applyEntry(std::string_view(line).substr(2), remove, entries);
  }
  return entries;
}

std::optional<Entries> readEntries(const std::string& directory) {
  const fs::path file = fs::path(directory) / "CVS/Entries";
  std::error_code ignored;
  if (!fs::is_regular_file(file, ignored)) return std::nullopt;
  std::ifstream main(file), log(fs::path(directory) / "CVS/Entries.Log");
  if (!main.is_open()) return std::nullopt;
  Entries entries = parseEntries(main, log);
  const auto isDirectory = [](const auto& entry) { return entry.second.directory; };
  main.clear();
  main.seekg(0);
  if (std::none_of(entries.begin(), entries.end(), isDirectory) && !hasDirectoryLine(main)) {
    for (const auto& found : fs::directory_iterator(directory, ignored)) {
      if (!fs::is_directory(found.path() / "CVS", ignored)) continue;
      Entry entry;
      entry.directory = true;
      entries.emplace(found.path().filename().string(), entry);
    }
  }
  return entries;
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
  return Finder(workingCopy).look(path);
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
  const auto status = fs::symlink_status(fs::path(workingCopy) / path, ignored);
  return status.type() != fs::file_type::not_found;
}

bool isRegularFile(const std::string& workingCopy, const std::string& path) {
  std::error_code ignored;
  return fs::is_regular_file(fs::path(workingCopy) / path, ignored);
}

std::optional<std::string> relativePath(const std::string& workingCopy, const std::string& path) {
  const fs::path given = path;
  if (!given.is_absolute()) {
    return relativeTo(fs::absolute(workingCopy).lexically_normal() / "", given);
  }
  // Both may lead through symbolic links. The path's last name is not resolved at first: it may be
  // a link inside the working copy. It is resolved when the path leads outside otherwise.
  std::error_code ignored;
  const fs::path root = fs::canonical(workingCopy, ignored) / "";
  const auto relative =
      relativeTo(root, fs::weakly_canonical(given.parent_path(), ignored) / given.filename());
  return relative.has_value() ? relative : relativeTo(root, fs::weakly_canonical(given, ignored));
}

std::string asArgument(const std::string& path) {
  return path[0] == '-' ? "./" + path : path;
}
