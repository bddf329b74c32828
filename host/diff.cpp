#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iostream>

#include "commands.h"
#include "console.h"
#include "files.h"
#include "operations.h"
#include "revision.h"
#include "survey.h"

namespace {

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

// Runs diff(1) on two files and returns its exit status.
int runDiff(const std::string& path, const std::string& revision, const std::string& from,
            const std::string& to) {
  std::cout.flush();
  const std::string oldLabel = "--label=" + shown(path) + "\trevision " + revision;
  const std::string newLabel = "--label=" + shown(path) + "\tworking file";
  const std::string colour = isColourTerminal(STDOUT_FILENO) ? "--color=always" : "--color=never";
  const char* arguments[] = {"diff",           "-u", colour.c_str(), oldLabel.c_str(),
                             newLabel.c_str(), "--", from.c_str(),   to.c_str(),
                             nullptr};
  pid_t child = -1;
  const int error = posix_spawnp(&child, arguments[0], nullptr, nullptr,
                                 const_cast<char* const*>(arguments), environ);
  if (error != 0) {
    complain("cannot run diff: " + std::generic_category().message(error));
    return exitTrouble;
  }
  int status = 0;
  while (waitpid(child, &status, 0) == -1 && errno == EINTR) {
  }
  if (WIFSIGNALED(status) && WTERMSIG(status) == SIGPIPE) raise(SIGPIPE);  // the reader has gone
  if (WIFEXITED(status) && WEXITSTATUS(status) <= different) return WEXITSTATUS(status);
  complain("diff could not compare " + shown(path));
  return exitTrouble;
}

int showDifference(const Session& session, const FileStatus& changed) {
  const VersionedFile& file = changed.file;
  const std::string& path = file.path;
  const auto fail = [&](const std::string& reason) {
    complain(shown(path) + ' ' + reason);
    return exitTrouble;
  };
  if (isBinary(session, file)) {
    if (changed.state == State::dead) return fail("is binary, and cannot be compared");
    say("Binary file " + shown(path) + " differs");
    return different;
  }
  if (kindOf(session.pathOf(path)) != FileKind::regular) return fail("is not a regular file");
  const TemporaryFile base, text;
  bool isPlain = true;
  if (!fetchRevision(session, file, file.revision(), base)) return exitTrouble;
  if (!writeAsText(session.pathOf(path), text.path(), isPlain)) {
    return fail("could not be read, or not be copied to a temporary file");
  }
  const int status = runDiff(path, file.revision(), base.path(), text.path());
  if (status == same && changed.isModified())
    complain(shown(path) + " differs only in its line ends");
  if (status == different && !isPlain) {
    complain(shown(path) +
             " has other line ends than line feeds, which this does not show; patch may refuse it");
  }
  return changed.isModified() ? std::max(status, different) : status;
}

}  // namespace

int showDifferences(Job& job) {
  std::vector<FileStatus> changed;
  Complaints complaints;
  survey(job.session, findOwnFiles(job), [&](const DirectoryStatus& directory) {
    complaints.add(directory.directory, directory.reason);
    for (const auto& file : directory.files) {
      complaints.add(file.file.path, file.reason);
      if (file.isModified() || file.state == State::dead) changed.push_back(file);
      if (file.state != State::conflict) continue;
      complaints.addOne(
          file.file.path,
          "it has a conflict: edit the conflict markers away, and diff shows what is left");
    }
  });
  int status = complaints.report() == exitSuccess ? same : exitTrouble;
  for (const auto& file : changed) status = std::max(status, showDifference(job.session, file));
  return status;
}
