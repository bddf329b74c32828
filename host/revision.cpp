#include "revision.h"

#include <sys/stat.h>

#include "console.h"
#include "operations.h"
#include "progress.h"

namespace {

// Whether a fetch that succeeded gave the revision. The client writes a heading for a file, even an
// empty one, to its standard error, unless its user wants it quiet. It also reports there that it
// does not have a revision.
bool hasGivenRevision(Provider& provider, const File& file, const std::string& revision,
                      const Descriptor& contents) {
  struct stat found = {};
  fstat(contents.get(), &found);
  const std::string words = provider.lastError().text;
  if (found.st_size > 0 || words.find("\nVERS: ") != words.npos) return true;
  if (!words.empty()) return false;
  if (file.entry.revision == revision) return true;
  if (revision != "HEAD") return false;
  const FileState state = askStatus(provider.object(), file.path.c_str());
  return state.known && state.statusText != "missing";
}

// Why a revision could not be fetched.
std::string findReason(Provider& provider, const File& file, const std::string& revision) {
  const LastError said = provider.lastError();
  if (said.text.find("\nVERS: ") != said.text.npos)
    return "it could not be written to a temporary file";
  if (file.hasOpenConflict && said.text.empty()) {
    return "the file has a conflict; edit the conflict markers away first";
  }
  if (!file.entry.listed && (said.text.empty() || said.command == "rls")) {
    return "neither the working copy nor the repository knows it";
  }
  return (revision == "HEAD" ? "" : "it may have no such revision; ") + said.describe();
}

}  // namespace

bool isBinary(const Session& session, const File& file) {
  return file.entry.isBinary() || holdsNul(session.pathOf(file.path));
}

bool fetchRevision(const Session& session, const File& file, const std::string& revision,
                   const Descriptor& destination) {
  Provider provider(session);  // whose last error is about this file only
  provider->setRoots(session.directory.c_str());
  const bool succeeded = waitFor("update", [&] {
    return provider->getTo(asArgument(file.path).c_str(), revision.c_str(),
                           pathOf(destination).c_str());
  });
  if (succeeded && hasGivenRevision(provider, file, revision, destination)) return true;
  complain("cannot fetch revision " + revision + " of " + shown(file.path) + ": " +
           findReason(provider, file, revision));
  return false;
}
