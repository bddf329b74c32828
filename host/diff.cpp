#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iostream>
#include <iterator>

#include "commands.h"
#include "report.h"
#include "revision.h"
#include "temporary.h"

namespace {

constexpr int same = 0, different = 1, trouble = 2;  // as diff(1) ends

// Writes the file in the form of a fetched revision: every line, also the last, ends in a single
// line feed. Returns whether all of it was written.
bool writeAsText(const std::string& from, const std::string& to) {
  std::ifstream input(from, std::ios::binary);
  std::ofstream output(to, std::ios::binary);
  bool isOpen = false;  // the line has no end yet
  for (char c, last = '\n'; input.get(c); last = c) {
    const bool endsLine = c == '\r' || (c == '\n' && last != '\r');
    if (endsLine) output.put('\n');
    isOpen = c != '\r' && c != '\n';
    if (isOpen) output.put(c);
  }
  if (isOpen) output.put('\n');
  return input.eof() && output.flush().good();
}

// Runs diff(1) on two files and returns its exit status.
int runDiff(const std::string& path, const std::string& revision, const std::string& from,
            const std::string& to) {
  std::cout.flush();
  const std::string name = isatty(STDOUT_FILENO) == 1 ? printable(path) : path;
  const std::string oldLabel = "--label=" + name + "\trevision " + revision;
  const std::string newLabel = "--label=" + name + "\tworking file";
  const std::string colour = isColourTerminal(STDOUT_FILENO) ? "--color=always" : "--color=never";
  const char* arguments[] = {"diff",           "-u", colour.c_str(), oldLabel.c_str(),
                             newLabel.c_str(), "--", from.c_str(),   to.c_str(),
                             nullptr};
  pid_t child = -1;
  const int error = posix_spawnp(&child, arguments[0], nullptr, nullptr,
                                 const_cast<char* const*>(arguments), environ);
  if (error != 0) {
    complain("cannot run diff: " + std::generic_category().message(error));
    return trouble;
  }
  int status = 0;
  while (waitpid(child, &status, 0) == -1 && errno == EINTR) {
  }
  if (WIFEXITED(status) && WEXITSTATUS(status) <= different) return WEXITSTATUS(status);
  complain("diff could not compare " + path);
  return trouble;
}

int showDifference(const Session& session, const FileReport& report) {
  const std::string& path = report.file.path;
  const std::string working = session.directory + '/' + path;
  if (isBinary(session, report.file)) {
    say("Binary file " + path + " differs");
    return different;
  }
  if (!isRegularFile(session.directory, path)) {
    complain(path + " is no regular file");
    return trouble;
  }
  const std::string& revision = report.state.workingRevision;
  const TemporaryFile base, text;
  Provider provider(session.library, session.configuration);
  if (!provider.tie(session.directory) ||
      !fetchRevision(provider, report.file, revision, base.path())) {
    return trouble;
  }
  if (!writeAsText(working, text.path())) {
    complain(path + " could not be read, or not be copied to " + text.path());
    return trouble;
  }
  const int status = runDiff(path, revision, base.path(), text.path());
  if (status != same) return status;
  complain(path + " differs only in its line ends");
  return different;
}

}  // namespace

int showDifferences(const Session& session, const Paths& paths) {
  std::vector<FileReport> changed;
  Troubles troubles;
  std::vector<std::string> leftOff;  // reported after the survey, which shows its progress
  survey(session, findFiles(session.directory, paths), [&](const GroupReport& group) {
    troubles.add(group.directory, group.trouble);
    for (const auto& file : group.files) {
      troubles.add(file.file.path, file.trouble);
      if (file.isToldByProvider() && file.state.modified) changed.push_back(file);
      if (file.statusText == "conflict" || file.statusText == "dead") {
        leftOff.push_back(file.file.path + ": its state is \"" + file.statusText +
                          "\", and the client fetches no revision of it");
      }
    }
  });
  for (const auto& sentence : leftOff) complain(sentence);
  int status = troubles.report() == exitSuccess && leftOff.empty() ? same : trouble;
  for (const auto& file : changed) status = std::max(status, showDifference(session, file));
  return status;
}
