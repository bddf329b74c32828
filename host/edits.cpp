#include <algorithm>
#include <fstream>
#include <iterator>
#include <optional>

#include "batch.h"
#include "commands.h"
#include "conflicts.h"
#include "report.h"

namespace {

// The paths, with each directory replaced by the files below it. None, reported, when the files of
// a directory are not known.
std::optional<Paths> expand(const Session& session, const Paths& paths) {
  Paths files;
  for (const auto& group : findFiles(session.directory, paths)) {
    if (group.state != FileGroup::State::readable) {
      complain("what is in " + group.directory + " is not known");
      return std::nullopt;
    }
    for (const auto& file : group.files) files.push_back(file.path);
  }
  return files;
}

// Whether no file loses changes; reports why not. The client always takes back what was changed
// since the edit was announced, so every file that is here has to be known to be unmodified.
bool canLoseNothing(const Session& session, const Paths& paths) {
  std::string reason;
  survey(session, findFiles(session.directory, paths), [&](const GroupReport& group) {
    if (!reason.empty()) return;
    if (!group.trouble.empty() && isHere(session.directory, group.directory)) {
      reason = "what is in " + group.directory + " is not known";
    }
    for (const auto& file : group.files) {
      const std::string& path = file.file.path;
      const bool isKnown = file.isToldByProvider();
      const bool isSafe = isKnown ? !file.state.modified : !isHere(session.directory, path);
      if (isSafe) continue;
      reason = path + (isKnown ? " is modified" : " is not known to be unmodified");
      if (!file.trouble.empty()) complain(path + ": " + file.trouble);
      return;
    }
  });
  if (reason.empty()) return true;
  complain(reason + ", and unedit takes changes back: commit first, or say --revert");
  return false;
}

std::string readBytes(const Session& session, const std::string& path) {
  if (!isRegularFile(session.directory, path)) return "";
  std::ifstream file(session.directory + '/' + path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The contents of the files that are being edited: the client replaces them, changed or not.
using EditedBytes = std::map<std::string, std::string>;
EditedBytes readEdited(const Session& session, const Snapshots& files) {
  EditedBytes bytes;
  for (const auto& [path, file] : files) {
    if (file.edited) bytes[path] = readBytes(session, path);
  }
  return bytes;
}

}  // namespace

int editFiles(Provider& provider, const Session& session, const Paths& paths, bool clean) {
  // The provider cleans single files only, not those of a directory.
  const auto asked = clean ? expand(session, paths) : paths;
  if (!asked.has_value()) return exitFailure;
  int status = exitSuccess;
  Paths done;
  {
    const TouchedConflicts touched(session.directory,
                                   clean ? takeSnapshots(session.directory, *asked) : Snapshots());
    for (const auto& path : *asked) {
      const bool succeeded = runOn(provider, path, "edit", [&](const char* file) {
        return provider->checkout(file, nullptr, clean);
      });
      if (succeeded) done.push_back(path);
      if (!succeeded) status = exitFailure;
    }
  }
  for (const auto& [path, file] : takeSnapshots(session.directory, done)) {
    if (file.edited) say("editing " + path);
  }
  return status;
}

int uneditFiles(Provider& provider, const Session& session, const Paths& paths, bool revert) {
  if (!revert && !canLoseNothing(session, paths)) return exitFailure;
  // Never pass a directory: the client may find more files below it than were checked.
  const auto asked = expand(session, paths);
  if (!asked.has_value()) return exitFailure;
  const Snapshots before = takeSnapshots(session.directory, *asked);
  const EditedBytes bytes = readEdited(session, before);
  int status = exitSuccess;
  for (const auto& entry : before) {
    const std::string& path = entry.first;
    const FileSnapshot& file = entry.second;
    const bool isNamed = std::find(paths.begin(), paths.end(), path) != paths.end();
    if (!file.edited && !isNamed) continue;
    const bool succeeded = runOn(provider, path, "unedit", [&](const char* name) {
      if (revert && file.hasOpenConflict) {
        const TouchedConflicts touched(session.directory, {{path, file}});
        if (!provider->getFile(name, false)) return false;
      }
      return provider->undoCheckout(name, revert);
    });
    if (!succeeded) status = exitFailure;
    const FileSnapshot now = takeSnapshot(session.directory, path);
    const auto found = bytes.find(path);
    const bool isSame = now.hasContentsOf(file) ||
                        (found != bytes.end() && found->second == readBytes(session, path));
    if (succeeded && !isSame) {
      say("reverted " + path);
    } else if (file.edited && !now.edited) {
      say("released " + path);
    }
  }
  return status;
}
