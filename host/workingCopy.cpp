#include "workingCopy.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <filesystem>
#include <set>
#include <string_view>

#include "files.h"
#include "provider.h"
#include "root.h"

namespace fs = std::filesystem;  // for the text of paths only

namespace {

// Cuts the next field, which ends at a slash, off the front of `line`.
std::string takeField(std::string_view& line) {
  const std::string_view field = line.substr(0, line.find('/'));
  line.remove_prefix(std::min(field.size() + 1, line.size()));
  return std::string(field);
}

// One line of an Entries file: "/NAME/REVISION/TIMESTAMP/OPTIONS/TAG" for a file, "D/NAME////" for
// a directory, "D" where there are no directories.
void applyEntry(std::string_view line, bool remove, Entries& entries) {
  Entry entry;
  entry.listed = true;
  entry.directory = line.substr(0, 1) == "D";
  entries.nameDirectories = entries.nameDirectories || entry.directory;
  if (entry.directory) line.remove_prefix(1);
  if (line.substr(0, 1) != "/") return;
  line.remove_prefix(1);
  const std::string name = takeField(line);
  if (name.empty() || name == "." || name == ".." || line.empty()) return;
  for (std::string* field : {&entry.revision, &entry.timestamp, &entry.options}) {
    *field = takeField(line);
  }
  entries.byName.erase(name);
  if (!remove) entries.byName.emplace(name, entry);
}

// A time as the client writes it.
std::string timestampOf(const struct stat& file) {
  struct tm utc = {};
  char text[32];
  gmtime_r(&file.st_mtim.tv_sec, &utc);
  return {text, std::strftime(text, sizeof text, "%a %b %e %H:%M:%S %Y", &utc)};
}

// Gathers the files of findFiles, each once.
class Finder {
 public:
  explicit Finder(const std::string& workingCopy, const std::string& root = "")
      : workingCopy_(workingCopy), root_(readRecordedRoot(workingCopy)) {
    if (root_.empty()) root_ = root;
  }

  File look(const std::string& path) {
    const fs::path file(path);
    const auto& entries = entriesOf(file.parent_path().string());
    if (!entries.has_value()) return look(path, {});
    const auto found = entries->byName.find(file.filename().string());
    return look(path, found == entries->byName.end() ? Entry() : found->second);
  }

  // Whether a directory records another repository than the working copy itself does.
  bool isForeign(const std::string& directory) const {
    const std::string root = readRecordedRoot(workingCopy_ + '/' + directory);
    return !root.empty() && !isSameRepository(root, root_);
  }

  FileGroups find(const Paths& paths) {
    for (const auto& path : paths) addPath(path);
    return std::move(groups_);
  }

 private:
  File look(const std::string& path, const Entry& entry) const {
    File file = {path, entry};
    struct stat found = {};
    if (lstat((workingCopy_ + '/' + path).c_str(), &found) == -1) {
      file.here = errno != ENOENT && errno != ENOTDIR;
      return file;
    }
    file.here = true;
    file.isLink = S_ISLNK(found.st_mode);
    struct stat target = found;  // the client goes by the newer one
    stat((workingCopy_ + '/' + path).c_str(), &target);
    if (target.st_mtim.tv_sec > found.st_mtim.tv_sec) found = target;
    const std::string timestamp = timestampOf(found);
    file.hasOpenConflict = entry.timestamp.find('+' + timestamp) != std::string::npos;
    file.isAsFetched = entry.timestamp == timestamp;
    file.contents = {found.st_ino, found.st_size, found.st_mtim.tv_sec, found.st_mtim.tv_nsec};
    return file;
  }

  // Each directory's Entries are read once, however many files are asked for.
  const std::optional<Entries>& entriesOf(const std::string& directory) {
    const auto known = entries_.find(directory);
    if (known != entries_.end()) return known->second;
    return entries_.emplace(directory, readEntries(workingCopy_ + '/' + directory)).first->second;
  }

  void addPath(const std::string& path) {
    const File file = look(path);
    if (file.entry.directory || kindOf(workingCopy_ + '/' + path) == FileKind::directory) {
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

  FileGroup::State stateOf(const std::string& path) {
    if (isForeign(path)) return FileGroup::State::foreign;
    if (entriesOf(path).has_value()) return FileGroup::State::readable;
    const bool here = isHere(workingCopy_ + '/' + path);
    return here ? FileGroup::State::unreadable : FileGroup::State::missing;
  }

  void addDirectory(const std::string& path) {
    // A link may lead back to a directory in which the search is.
    const std::string place = resolveExisting(workingCopy_ + '/' + path);
    if (std::count(open_.begin(), open_.end(), place) > 0) return;
    if (!seen_.insert(path).second) return;
    groups_.push_back({path, stateOf(path), true, {}});
    if (groups_.back().state != FileGroup::State::readable) return;
    const Entries& entries = *entriesOf(path);
    const std::string prefix = path == "." ? "" : path + '/';
    for (const auto& [name, entry] : entries.byName) {
      if (entry.directory || !seen_.insert(prefix + name).second) continue;
      groups_.back().files.push_back(look(prefix + name, entry));
    }
    open_.push_back(place);
    for (const auto& [name, entry] : entries.byName) {
      if (entry.directory) addDirectory(prefix + name);
    }
    open_.pop_back();
  }

  const std::string& workingCopy_;
  std::string root_;
  FileGroups groups_;
  std::map<std::string, std::size_t> partial_;  // the group for single files of a directory
  std::set<std::string> seen_;                  // what is in a group
  std::map<std::string, std::optional<Entries>> entries_;  // by directory
  Paths open_;                                             // in which the search is, resolved
};

// A path below a root, both resolved, in the form that the provider takes; none when it is not.
std::optional<std::string> relativeTo(const fs::path& root, const fs::path& path) {
  const std::string relative = path.lexically_normal().lexically_relative(root).string();
  if (relative.empty() || relative == ".." || relative.rfind("../", 0) == 0) return std::nullopt;
  return relative;
}

}  // namespace

Entries parseEntries(std::istream& main, std::istream& log) {
  Entries entries;
  std::string line;
  while (std::getline(main, line)) applyEntry(line, false, entries);
  while (std::getline(log, line)) {
    const std::string what = line.substr(0, 2);
    if (what == "A " || what == "R ") applyEntry(line.substr(2), what == "R ", entries);
  }
  return entries;
}

std::optional<Entries> readEntries(const std::string& directory) {
  std::ifstream main = openRegular(directory + "/CVS/Entries");
  std::ifstream log = openRegular(directory + "/CVS/Entries.Log");
  if (!main) return std::nullopt;
  Entries entries = parseEntries(main, log);
  if (entries.nameDirectories) return entries;
  for (const auto& name : listNames(directory)) {
    if (kindOf(directory + '/' + name + "/CVS") == FileKind::directory) {
      applyEntry("D/" + name + "////", false, entries);
    }
  }
  return entries;
}

std::string readRecordedRoot(const std::string& directory) {
  std::ifstream file = openRegular(directory + "/CVS/Root");
  std::string root;
  std::getline(file, root);
  return root;
}

std::string baseCopyOf(const std::string& file) {
  return fs::path(file).parent_path() / "CVS/Base" / fs::path(file).filename();
}

std::string readBaseRevision(const std::string& file) {
  std::ifstream lines = openRegular(fs::path(file).parent_path() / "CVS/Baserev");
  const std::string begin = 'B' + fs::path(file).filename().string() + '/';
  std::string line;
  while (std::getline(lines, line)) {
    if (line.rfind(begin, 0) == 0) return line.substr(begin.size(), line.size() - begin.size() - 1);
  }
  return "";
}

Paths stepsOf(const std::string& path) {
  Paths steps;
  for (std::size_t slash = path.find('/'); slash != path.npos; slash = path.find('/', slash + 1)) {
    steps.push_back(path.substr(0, slash));
  }
  steps.push_back(path);
  return steps;
}

FileGroups findFiles(const Session& session, const Paths& paths) {
  return Finder(session.directory, session.root).find(paths);
}

File findFile(const std::string& workingCopy, const std::string& path) {
  return Finder(workingCopy).look(path);
}

std::optional<std::string> findForeign(const Session& session, const std::string& path) {
  const Finder finder(session.directory, session.root);
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
    relative = relativeTo(root, fs::path(resolveExisting(given.parent_path())) / name);
  }
  if (!relative.has_value()) relative = relativeTo(root, resolveExisting(given));
  if (relative.has_value()) return relative;
  // The path of a directory that has moved elsewhere, with a link in its place, stays as it is.
  relative = relativeTo(root, given);
  if (std::find(given.begin(), given.end(), "..") != given.end()) return std::nullopt;
  for (const auto& step : stepsOf(relative.value_or("."))) {
    char target;
    const bool isLink = readlink((root / step).c_str(), &target, 1) != -1;
    if (isLink && !findFile(workingCopy, step).entry.directory) return std::nullopt;
  }
  return relative;
}
