#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
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
  const Descriptor base(openTemporary()), text(openTemporary());
  bool isPlain = true;
  if (!fetchRevision(session, file, file.entry.revision, base)) return exitTrouble;
  if (!writeAsText(session.pathOf(path), pathOf(text), isPlain)) {
    return fail("could not be read, or not be copied to a temporary file");
  }
  const int status = runDiff(file, pathOf(base), pathOf(text));
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
