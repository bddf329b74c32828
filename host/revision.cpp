#include "revision.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "commands.h"
#include "progress.h"
#include "report.h"
#include "temporary.h"

namespace fs = std::filesystem;

namespace {

// Whether a fetch that succeeded gave the revision. The client writes a heading for a file, even an
// empty one, to its standard error, unless its user wants it quiet. It also reports there that it
// does not have a revision.
bool hasGivenRevision(Provider& provider, const VersionedFile& file, const std::string& revision,
                      const std::string& contents) {
  const std::string words = provider.lastError().text;
  if (fs::file_size(contents) > 0 || words.find("\nVERS: ") != std::string::npos) return true;
  if (!words.empty()) return false;
  if (file.entry.has_value() && file.entry->revision == revision) return true;
  if (revision != "HEAD") return false;
  const FileState state = askStatus(provider.object(), file.path.c_str());
  return state.known && state.statusText != "missing";
}

int printFile(const std::string& path, const std::string& output) {
  std::ifstream contents(path, std::ios::binary);
  std::ofstream named;
  if (!output.empty()) named.open(output, std::ios::binary);
  std::ostream& destination = output.empty() ? std::cout : named;
  if (fs::file_size(path) > 0) destination << contents.rdbuf();
  destination.flush();
  if (destination.good()) return exitSuccess;
  complain("cannot write " + (output.empty() ? "the standard output" : output));
  return exitFailure;
}

}  // namespace

bool isBinary(const Session& session, const VersionedFile& file) {
  if (file.entry.has_value() && file.entry->isBinary()) return true;
  if (!isRegularFile(session.directory, file.path)) return false;
  std::ifstream contents(fs::path(session.directory) / file.path, std::ios::binary);
  using Bytes = std::istreambuf_iterator<char>;
  return std::find(Bytes(contents), Bytes(), '\0') != Bytes();
}

bool fetchRevision(Provider& provider, const VersionedFile& file, const std::string& revision,
                   const std::string& destination) {
  const std::string argument = asArgument(file.path);
  const bool succeeded = [&] {
    const Progress waiting = showWaiting("update");
    return provider->getTo(argument.c_str(), revision.c_str(), destination.c_str());
  }();
  const LastError said = provider.lastError();
  if (succeeded && hasGivenRevision(provider, file, revision, destination)) return true;
  complain("the client gave nothing for revision " + revision + " of " + file.path + "; " +
           said.describe());
  return false;
}

int printRevision(Provider& provider, const Session& session, const std::string& file,
                  const PrintOptions& options) {
  const VersionedFile found = findFile(session.directory, file);
  const bool isListed = found.entry.has_value();
  std::error_code ignored;
  if (fs::is_directory(fs::path(session.directory) / file, ignored) ||
      (isListed && found.entry->directory)) {
    complain(file + " is a directory; cat takes one file");
    return exitFailure;
  }
  if (isBinary(session, found) && !options.force) {
    const bool isMarked = isListed && found.entry->isBinary();
    complain(file + (isMarked ? " is binary (-kb)" : " holds NUL bytes here, so it may be binary") +
             ", and a revision is fetched as lines of text, which changes it; --force fetches it "
             "all the same");
    return exitFailure;
  }
  const TemporaryFile fetched;
  if (!fetchRevision(provider, found, options.revision, fetched.path())) return exitFailure;
  return printFile(fetched.path(), options.output);
}
