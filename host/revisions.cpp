// The commands that fetch revisions: cat and diff.

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>

#include "console.h"
#include "files.h"
#include "operations.h"
#include "progress.h"
#include "survey.h"

namespace {

// Whether a fetch that succeeded gave the revision. To its standard error the client writes a
// heading, unless its user wants it quiet, or that it does not have the revision.
bool hasGivenRevision(Provider& provider, const File& file, const std::string& revision,
                      const FilePointer& contents) {
  struct stat found = {};
  fstat(fileno(contents.get()), &found);
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

// Whether a file is marked as binary (-kb) or holds NUL bytes here. A revision comes as lines of
// text, so that of a binary file may differ from what the repository has.
bool isBinary(const Session& session, const File& file) {
  return file.entry.isBinary() || holdsNul(session.pathOf(file.path));
}

// Fetches one revision of a file, as lines of text. False after a failure, which has been reported,
// also when the client succeeds without output because the file has no such revision.
bool fetchRevision(const Session& session, const File& file, const std::string& revision,
                   const FilePointer& destination) {
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

// Whether all of a file could be copied; sets errno when not.
bool copy(const FilePointer& from, std::ostream& to) {
  std::ifstream input(pathOf(from), std::ios::binary);
  using Bytes = std::istreambuf_iterator<char>;
  return !std::copy(Bytes(input), Bytes(), std::ostreambuf_iterator<char>(to)).failed() &&
         to.flush();
}

// Writes to a file, or without a name to the standard output. A file is written beside the target
// and renamed: one of the two texts is there. False, with errno set, when not all is written.
bool writeTo(const std::string& target, const FilePointer& from) {
  struct stat found = {}, standard = {};
  const bool isThere = stat(target.c_str(), &found) == 0;
  const bool isFile = isThere ? S_ISREG(found.st_mode) : !isHere(target);
  // The standard output has names, too, and may be a file.
  fstat(STDOUT_FILENO, &standard);
  const bool isSame = found.st_ino == standard.st_ino && found.st_dev == standard.st_dev;
  if (target.empty() || (isThere && isSame)) return copy(from, std::cout);
  const bool isStream = target.rfind("/dev/std", 0) == 0 || target.rfind("/dev/fd/", 0) == 0 ||
                        target.rfind("/proc/", 0) == 0;
  if (!isFile || isStream) {
    std::ofstream output(target, std::ios::binary | std::ios::app);
    return output && copy(from, output);
  }
  const std::string place = resolve(target).value_or(target);
  const std::string beside = place + '.' + std::to_string(getpid());
  const mode_t mask = umask(0);
  umask(mask);
  const mode_t mode = isThere ? found.st_mode & 07777 : 0666 & ~mask;
  if (!copyFile(pathOf(from), beside)) return false;
  const bool isReady = chmod(beside.c_str(), mode) == 0;
  if (isReady && std::rename(beside.c_str(), place.c_str()) == 0) return true;
  const int error = errno;
  unlink(beside.c_str());
  errno = error;
  return false;
}

constexpr int same = 0, different = 1;  // as diff(1) ends

// Writes a file in the form of a fetched revision: every line, also the last, ends in a single line
// feed. Returns whether all of it was written; `isPlain` tells whether the file had that form.
bool writeAsText(const std::string& from, const std::string& to, bool& isPlain) {
  std::ifstream input = openRegular(from);
  std::ofstream output(to, std::ios::binary);
  char last = '\n';
  isPlain = true;
  for (char c; input.get(c); last = c) {
    const bool endsLine = c == '\r' || (c == '\n' && last != '\r');
    if (endsLine) output.put('\n');
    if (c != '\r' && c != '\n') output.put(c);
    isPlain = isPlain && c != '\r';
  }
  const bool hasEnd = last == '\n' || last == '\r';
  if (!hasEnd) output.put('\n');
  isPlain = isPlain && hasEnd;
  return input.eof() && output.flush();
}

// A text as one word of the shell.
std::string quoted(const std::string& text) {
  std::string word = "'";
  for (const char c : text) word += c == '\'' ? "'\\''" : std::string(1, c);
  return word + "'";
}

// Runs diff(1) on two files and returns its exit status.
int runDiff(const File& file, const std::string& from, const std::string& to) {
  std::cout.flush();
  const std::string name = shown(file.path);
  const std::string colour = isColourTerminal(STDOUT_FILENO) ? "always" : "never";
  const std::string command = "exec diff -u --color=" + colour +
                              " --label=" + quoted(name + "\trevision " + file.entry.revision) +
                              " --label=" + quoted(name + "\tworking file") + ' ' + from + ' ' + to;
  const int status = std::system(command.c_str());
  if (WIFSIGNALED(status)) raise(WTERMSIG(status));  // the reader has gone, say
  if (WIFEXITED(status) && WEXITSTATUS(status) <= different) return WEXITSTATUS(status);
  complain("diff could not compare " + name);
  return exitTrouble;
}

int showDifference(const Session& session, const FileStatus& changed) {
  const File& file = changed.file;
  const std::string& path = file.path;
  const auto giveUp = [&](const std::string& reason) {
    complain(shown(path) + ' ' + reason);
    return exitTrouble;
  };
  if (isBinary(session, file)) {
    if (changed.state == State::dead) return giveUp("is binary, and cannot be compared");
    say("Binary file " + shown(path) + " differs");
    return different;
  }
  const FilePointer base = openTemporary(), text = openTemporary();
  bool isPlain = true;
  if (!fetchRevision(session, file, file.entry.revision, base)) return exitTrouble;
  if (!writeAsText(session.pathOf(path), pathOf(text), isPlain)) {
    return giveUp("is not a regular file, or could not be copied to a temporary one");
  }
  const int status = runDiff(file, pathOf(base), pathOf(text));
  if (status == different && !isPlain) {
    complain(shown(path) + " has other line ends than line feeds; patch may refuse this");
  }
  if (status != same || !changed.isModified()) return status;
  complain(shown(path) + " differs only in its line ends");
  return different;
}

}  // namespace

int printRevision(Job& job) {
  const File file = findFile(job.session.directory, job.paths.front());
  const bool isDirectory = kindOf(job.session.pathOf(file.path)) == FileKind::directory;
  if (isDirectory || file.entry.directory) {
    return fail(shown(file.path) + " is a directory; cat takes one file");
  }
  if (isBinary(job.session, file) && !job.line.force) {
    return fail(shown(file.path) +
                " is marked as binary, or holds NUL bytes here, and a revision is fetched as lines "
                "of text, which would change it; --force fetches it anyway");
  }
  const FilePointer fetched = openTemporary();
  if (!fetchRevision(job.session, file, job.line.revision, fetched)) return exitFailure;
  const std::string& target = job.line.output;
  if (writeTo(target, fetched)) return exitSuccess;
  std::cout.clear();  // said here, with the reason
  const std::string what = target.empty() ? "the standard output" : target;
  return fail("cannot write " + what + ": " + std::strerror(errno));
}

int showDifferences(Job& job) {
  std::vector<FileStatus> changed;
  Complaints complaints;
  survey(job.session, findOwnFiles(job), [&](const DirectoryStatus& directory) {
    complaints.add(directory.directory, directory.reason);
    for (const auto& file : directory.files) {
      complaints.add(file.file.path, file.reason);
      if (file.isModified() || file.state == State::dead) changed.push_back(file);
      if (file.state == State::conflict) complaints.add(file.file.path, conflictToResolve, true);
      const bool isLeft = file.isScheduled() || file.state == State::missing;
      if (isLeft && job.names(file.file.path)) {
        complaints.add(file.file.path, "it is " + textOf(file));
      }
    }
  });
  int status = complaints.report() == exitSuccess ? same : exitTrouble;
  for (const auto& file : changed) status = std::max(status, showDifference(job.session, file));
  return status;
}
