#include <fstream>
#include <iterator>

#include "batch.h"
#include "commands.h"
#include "report.h"

namespace {

// The files themselves, in place of the directories they are below.
Paths expand(const Session& session, const Paths& paths) {
  Paths files;
  for (const auto& group : findFiles(session.directory, paths)) {
    for (const auto& file : group.files) files.push_back(file.path);
  }
  return files;
}

// The client takes back what was changed since the edit was announced, asked for or not. So what is
// here has to be known to be unmodified.
bool canLoseNothing(const Session& session, const Paths& paths) {
  std::string reason;
  survey(session, findFiles(session.directory, paths), [&](const GroupReport& group) {
    if (!reason.empty()) return;
    if (!group.trouble.empty() && isHere(session.directory, group.directory)) {
      reason = "what is in " + group.directory + " is not known";
    }
    for (const auto& file : group.files) {
      const std::string& path = file.file.path;
      const bool isKnown = file.state.known && file.text == file.state.text;
      if (!isHere(session.directory, path) || (isKnown && !file.state.modified)) continue;
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
  std::ifstream file(session.directory + '/' + path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// What the files hold that are being edited: the client replaces them, changed or not.
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
  int status = exitSuccess;
  // The provider cleans the files it is asked about, and a directory is none.
  for (const auto& path : clean ? expand(session, paths) : paths) {
    const bool succeeded = runOn(provider, path, "edit", [&](const char* file) {
      return provider->checkout(file, nullptr, clean);
    });
    if (!succeeded) status = exitFailure;
    for (const auto& [name, file] : takeSnapshots(session.directory, {path})) {
      if (succeeded && file.edited) say("editing " + name);
    }
  }
  return status;
}

int uneditFiles(Provider& provider, const Session& session, const Paths& paths, bool revert) {
  if (!revert && !canLoseNothing(session, paths)) return exitFailure;
  int status = exitSuccess;
  for (const auto& path : paths) {
    const Snapshots before = takeSnapshots(session.directory, {path});
    const EditedBytes bytes = readEdited(session, before);
    const bool succeeded = runOn(provider, path, "unedit", [&](const char* file) {
      return provider->undoCheckout(file, revert);
    });
    if (!succeeded) status = exitFailure;
    for (const auto& [name, file] : before) {
      const FileSnapshot now = takeSnapshot(session.directory, name);
      const auto found = bytes.find(name);
      const bool isSame = now.hasContentsOf(file) ||
                          (found != bytes.end() && found->second == readBytes(session, name));
      if (succeeded && !isSame) {
        say("reverted " + name);
      } else if (file.edited && !now.edited) {
        say("released " + name);
      }
    }
  }
  return status;
}
