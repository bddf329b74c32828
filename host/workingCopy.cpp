#include "workingCopy.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "files.h"
#include "root.h"

namespace fs = std::filesystem;  // for the text of paths only

namespace {

// Gathers the files of findFiles, each once.
class Finder {
 public:
  explicit Finder(const std::string& workingCopy)
      : workingCopy_(workingCopy), root_(readRecordedRoot(workingCopy)) {}

  // What the administrative files say of a path.
  VersionedFile look(const std::string& path) {
    const fs::path file(path);
    const auto& entries = entriesOf(file.parent_path().string());
    const Entry* found = entries.has_value() ? entries->find(file.filename().string()) : nullptr;
    return {path, found == nullptr ? std::nullopt : std::optional<Entry>(*found)};
  }

  void addPath(const std::string& path) {
    const VersionedFile file = look(path);
    const bool isListed = file.entry.has_value() && file.entry->directory;
    if (isListed || kindOf(workingCopy_ + '/' + path) == FileKind::directory) {
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

  // Whether a directory records another repository than the working copy itself does.
  bool isForeign(const std::string& directory) const {
    const std::string root = readRecordedRoot(workingCopy_ + '/' + directory);
    return !root.empty() && !root_.empty() && !isSameRepository(root, root_);
  }

  std::vector<FileGroup> takeGroups() { return std::move(groups_); }

 private:
  // Each directory's Entries are read once, however many files are asked for.
  const std::optional<Entries>& entriesOf(const std::string& directory) {
    const auto known = entries_.find(directory);
    if (known != entries_.end()) return known->second;
    return entries_.emplace(directory, readEntries(workingCopy_ + '/' + directory)).first->second;
  }

  FileGroup::State stateOf(const std::string& path) {
    if (isForeign(path)) return FileGroup::State::foreign;
    if (entriesOf(path).has_value()) return FileGroup::State::readable;
    return isHere(workingCopy_ + '/' + path) ? FileGroup::State::unreadable
                                             : FileGroup::State::missing;
  }

  void addDirectory(const std::string& path) {
    struct stat found = {};
    stat((workingCopy_ + '/' + path).c_str(), &found);
    const std::pair<dev_t, ino_t> identity(found.st_dev, found.st_ino);
    const bool isInItself =
        found.st_ino != 0 && std::count(open_.begin(), open_.end(), identity) > 0;
    if (isInItself || !directories_.insert(path).second) return;
    const FileGroup::State state = stateOf(path);
    groups_.push_back({path, state, true, {}});
    if (state != FileGroup::State::readable) return;
    const Entries& entries = *entriesOf(path);
    const std::string prefix = path == "." ? "" : path + '/';
    for (const auto& [name, entry] : entries.byName) {
      if (entry.directory || !files_.insert(prefix + name).second) continue;
      groups_.back().files.push_back({prefix + name, entry});
    }
    open_.push_back(identity);
    for (const auto& [name, entry] : entries.byName) {
      if (entry.directory) addDirectory(prefix + name);
    }
    open_.pop_back();
  }

  const std::string& workingCopy_;
  const std::string root_;
  std::vector<FileGroup> groups_;
  std::map<std::string, std::size_t> partial_;  // the group for single files of a directory
  std::set<std::string> files_, directories_;   // that are in a group
  std::map<std::string, std::optional<Entries>> entries_;  // by directory
  std::vector<std::pair<dev_t, ino_t>> open_;              // the directories in which the search is
};

// The directories above a path, from the top down, and the path itself.
std::vector<std::string> stepsOf(const std::string& path) {
  std::vector<std::string> steps;
  for (std::size_t slash = path.find('/'); slash != path.npos; slash = path.find('/', slash + 1)) {
    steps.push_back(path.substr(0, slash));
  }
  steps.push_back(path);
  return steps;
}

bool isLink(const std::string& path) {
  struct stat found = {};
  return lstat(path.c_str(), &found) == 0 && S_ISLNK(found.st_mode);
}

// A path below a root, both resolved, in the form that the provider takes; none when it is not.
std::optional<std::string> relativeTo(const std::string& root, const fs::path& path) {
  const std::string relative = path.lexically_normal().lexically_relative(root).string();
  if (relative.empty() || relative == ".." || relative.rfind("../", 0) == 0) return std::nullopt;
  return relative.size() > 1 && relative.back() == '/' ? relative.substr(0, relative.size() - 1)
                                                       : relative;
}

}  // namespace

std::vector<FileGroup> findFiles(const std::string& workingCopy,
                                 const std::vector<std::string>& paths) {
  Finder finder(workingCopy);
  for (const auto& path : paths) finder.addPath(path);
  return finder.takeGroups();
}

VersionedFile findFile(const std::string& workingCopy, const std::string& path) {
  return Finder(workingCopy).look(path);
}

std::optional<std::string> findForeign(const std::string& workingCopy, const std::string& path) {
  const Finder finder(workingCopy);
  for (const auto& step : stepsOf(path)) {
    if (finder.isForeign(step)) return step;
  }
  return std::nullopt;
}

std::optional<std::string> relativePath(const std::string& workingCopy, const std::string& path) {
  const fs::path root = resolve(workingCopy).value_or(workingCopy);
  fs::path given = root / path;
  if (!given.has_filename()) given = given.parent_path();
  const fs::path name = given.filename();
  std::optional<std::string> relative;
  if (name != "." && name != "..") {
    relative = relativeTo(root, resolveExisting(given.parent_path()) / name);
  }
  if (!relative.has_value()) relative = relativeTo(root, resolveExisting(given));
  if (relative.has_value()) return relative;
  // The path of a directory that has moved elsewhere, with a link in its place, stays as it is.
  relative = relativeTo(root, given);
  const bool climbs = std::find(given.begin(), given.end(), "..") != given.end();
  if (climbs || !relative.has_value()) return std::nullopt;
  for (const auto& step : stepsOf(*relative)) {
    const VersionedFile file = findFile(workingCopy, step);
    const bool isListed = file.entry.has_value() && file.entry->directory;
    if (!isListed && isLink(root / step)) return std::nullopt;
  }
  return relative;
}
