#include "changes.h"

#include <sys/stat.h>

#include <ctime>

#include "console.h"

namespace {

// A time as the client writes it.
std::string timestampOf(const struct stat& file) {
  struct tm utc = {};
  char text[26] = "";
  if (gmtime_r(&file.st_mtim.tv_sec, &utc) == nullptr || asctime_r(&utc, text) == nullptr)
    return "";
  return {text, 24};
}

const FileSnapshot& snapshotOf(const Snapshots& snapshots, const std::string& path) {
  static const FileSnapshot none;
  const auto found = snapshots.find(path);
  return found == snapshots.end() ? none : found->second;
}

}  // namespace

FileSnapshot takeSnapshot(const std::string& workingCopy, const VersionedFile& file) {
  FileSnapshot snapshot = {file, false, false, {}};
  struct stat found = {};
  if (lstat((workingCopy + '/' + file.path).c_str(), &found) == -1) return snapshot;
  snapshot.here = true;
  snapshot.hasOpenConflict =
      file.entry.has_value() &&
      file.entry->timestamp.find('+' + timestampOf(found)) != std::string::npos;
  snapshot.contents = {found.st_ino, found.st_size, found.st_mtim.tv_sec, found.st_mtim.tv_nsec};
  return snapshot;
}

Snapshots takeSnapshots(const std::string& workingCopy, const std::vector<FileGroup>& groups) {
  Snapshots snapshots;
  for (const auto& group : groups) {
    for (const auto& file : group.files) {
      snapshots[file.path] = takeSnapshot(workingCopy, file);
    }
  }
  return snapshots;
}

bool sayChanges(const Snapshots& before, const Snapshots& after, const Describe& describe) {
  Snapshots all = before;
  all.insert(after.begin(), after.end());
  bool hasSaid = false;
  for (const auto& entry : all) {
    const std::string& path = entry.first;
    const std::string line = describe(snapshotOf(before, path), snapshotOf(after, path));
    hasSaid = hasSaid || !line.empty();
    if (!line.empty()) say(line);
  }
  return hasSaid;
}

std::string describeChange(const std::string& verb, const std::string& path,
                           const std::string& from, const std::string& to) {
  std::string line = verb + ' ' + shown(path);
  if (!from.empty() && from != to) line += ' ' + from + " ->";
  return line + ' ' + to;
}
