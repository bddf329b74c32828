#include <algorithm>
#include <fstream>
#include <optional>
#include <set>

#include "batch.h"
#include "commands.h"
#include "conflicts.h"
#include "report.h"

namespace {

const char* textOrNull(const std::string& text) {
  return text.empty() ? nullptr : text.c_str();
}

FileSnapshot snapshotOf(const Snapshots& snapshots, const std::string& path) {
  const auto found = snapshots.find(path);
  return found == snapshots.end() ? FileSnapshot() : found->second;
}

std::string revisionOf(const FileSnapshot& file) {
  return file.entry.has_value() ? file.entry->revision : "";
}

// The paths in either of the two.
Paths pathsOf(const Snapshots& before, const Snapshots& after) {
  Paths paths;
  for (const auto& [path, file] : before) paths.push_back(path);
  for (const auto& [path, file] : after) paths.push_back(path);
  std::sort(paths.begin(), paths.end());
  paths.erase(std::unique(paths.begin(), paths.end()), paths.end());
  return paths;
}

// "VERB PATH 1.1 -> 1.2", without a revision that is not known.
std::string describeChange(const std::string& verb, const std::string& path,
                           const std::string& from, const std::string& to) {
  std::string line = verb + ' ' + path;
  if (!from.empty() && from != to) line += ' ' + from + " ->";
  return line + ' ' + to;
}

// What a commit has done to a file; empty for nothing.
std::string describeCommit(const std::string& path, const FileSnapshot& before,
                           const FileSnapshot& after) {
  const std::string from = revisionOf(before), to = revisionOf(after);
  if (from == to || from.empty()) return "";
  if (to.empty()) return "removed " + path;
  return describeChange("committed", path, from == "0" ? "" : from, to);
}

// What an update has done to a file; empty for nothing.
std::string describeUpdate(const std::string& path, const FileSnapshot& before,
                           const FileSnapshot& after) {
  const std::string from = revisionOf(before), to = revisionOf(after);
  if (to.empty()) return from.empty() ? "" : "removed " + path;
  if (after.hasOpenConflict) return "conflict in " + path;
  if (from != to) {
    return describeChange(after.entry->isMerged() ? "merged" : "updated", path, from, to);
  }
  if (after.hasContentsOf(before)) return "";
  return describeChange(before.here ? "reverted" : "restored", path, "", to);
}

using Describe = std::string (*)(const std::string& path, const FileSnapshot& before,
                                 const FileSnapshot& after);

void sayChanges(const Snapshots& before, const Snapshots& after, Describe describe) {
  for (const auto& path : pathsOf(before, after)) {
    const std::string line = describe(path, snapshotOf(before, path), snapshotOf(after, path));
    if (!line.empty()) say(line);
  }
}

// Whether a file that had a conflict still holds the marks of the merge.
bool holdsConflict(const Session& session, const FileReport& report) {
  if (!report.file.entry.has_value() || !report.file.entry->hasConflict()) return false;
  if (!isRegularFile(session.directory, report.file.path)) return false;
  std::ifstream file(session.directory + '/' + report.file.path);
  std::string line;
  while (std::getline(file, line)) {
    if (line.rfind("<<<<<<< ", 0) == 0 || line.rfind(">>>>>>> ", 0) == 0) return true;
  }
  return false;
}

// The paths of every file that a commit would take. None, reported, when that is not known.
std::optional<Paths> findChanged(const Session& session) {
  Paths changed;
  Troubles troubles;
  std::vector<std::string> leftOff;  // reported after the survey, which shows its progress
  const auto leaveOff = [&](const std::string& path, const std::string& reason) {
    leftOff.push_back(path + ": " + reason);
  };
  survey(session, findFiles(session.directory, {"."}), [&](const GroupReport& group) {
    troubles.add(group.directory, group.trouble);
    for (const auto& file : group.files) {
      const std::string& path = file.file.path;
      troubles.add(path, file.trouble);
      if (file.statusText == "conflict") leaveOff(path, "it has a conflict, to be resolved first");
      if (file.statusText == "dead") leaveOff(path, "the repository has it no more; update first");
      const bool isScheduled = file.statusText == "added" || file.statusText == "removed";
      const bool isModified = file.isToldByProvider() && file.state.modified;
      if (isModified && holdsConflict(session, file)) {
        leaveOff(path, "it still holds the marks of a conflict");
      }
      if (isScheduled || isModified) changed.push_back(path);
    }
  });
  for (const auto& sentence : leftOff) complain(sentence);
  const int status = troubles.report();
  if (status == exitSuccess && leftOff.empty()) return changed;
  complain("nothing is committed; name the files to commit");
  return std::nullopt;
}

// What the administrative files say of a path. `seen` holds the files, but no directories.
std::optional<Entry> entryOf(const Session& session, const Snapshots& seen,
                             const std::string& path) {
  const auto found = seen.find(path);
  return found == seen.end() ? findFile(session.directory, path).entry : found->second.entry;
}

// Why an update that reported success did not touch a path that the user named; empty when there is
// nothing to report.
std::string whyNotUpdated(const Session& session, const std::string& path,
                          const std::optional<Entry>& entry, bool wasListed, bool clean) {
  if (path == ".") return "";
  const bool isThere = isHere(session.directory, path);
  if (!entry.has_value()) {
    const bool isPruned = wasListed && !isThere;
    const bool isOfItsOwn = readEntries(session.directory + '/' + path).has_value();
    return isPruned || isOfItsOwn ? "" : "is not under control";
  }
  if (entry->directory && !isThere) return "is a directory that is lost; cvs update -d brings it";
  if (clean && entry->isRemoved()) return "still waits to be removed; cvs add brings it back";
  if (clean && entry->isAdded()) return "still waits to be added";
  return "";
}

}  // namespace

int addFiles(Provider& provider, const Session& session, const Paths& paths,
             const std::string& message) {
  const Snapshots before = takeSnapshots(session.directory, paths);
  const int status = runAsOne(provider, paths, "add", [&](const char* file) {
    return provider->addFile(file, textOrNull(message));
  });
  for (const auto& [path, file] : takeSnapshots(session.directory, paths)) {
    const FileSnapshot earlier = snapshotOf(before, path);
    if (!file.entry.has_value()) continue;
    if (file.entry->isAdded()) {
      complain(path + " is scheduled to be added; commit finishes it");
    } else if (!earlier.entry.has_value() || earlier.entry->isAdded()) {
      say("added " + path);
    }
  }
  return status;
}

int commitFiles(Provider& provider, const Session& session, const Paths& paths,
                const std::string& message) {
  const auto found = paths.empty() ? findChanged(session) : paths;
  if (!found.has_value()) return exitFailure;
  const Paths& changed = *found;
  if (changed.empty()) {
    say("nothing is modified");
    return exitSuccess;
  }
  if (paths.empty()) {
    for (const auto& path : changed) say("committing " + path);
  }
  const Snapshots before = takeSnapshots(session.directory, changed);
  const int status = runAsOne(provider, changed, "commit", [&](const char* file) {
    return provider->checkin(file, textOrNull(message));
  });
  sayChanges(before, takeSnapshots(session.directory, changed), describeCommit);
  return status;
}

int updateFiles(Provider& provider, const Session& session, const Paths& paths, bool clean) {
  const Snapshots before = takeSnapshots(session.directory, paths);
  std::set<std::string> listed;
  for (const auto& path : paths) {
    if (entryOf(session, before, path).has_value()) listed.insert(path);
  }
  int status = exitSuccess;
  {
    const TouchedConflicts touched(session.directory, clean ? before : Snapshots());
    status = runAsOne(provider, paths, "update",
                      [&](const char* file) { return provider->getFile(file, !clean); });
  }
  const Snapshots after = takeSnapshots(session.directory, paths);
  sayChanges(before, after, describeUpdate);
  if (status != exitSuccess) return status;
  for (const auto& path : paths) {
    const std::string reason =
        whyNotUpdated(session, path, entryOf(session, after, path), listed.count(path) != 0, clean);
    if (reason.empty()) continue;
    complain(path + ' ' + reason);
    status = exitFailure;
  }
  return status;
}
