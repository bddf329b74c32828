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

namespace {

constexpr int same = 0, different = 1, trouble = 2;  // as diff(1) ends

// Writes the file the way that a fetched revision comes: line ends become single line feeds, the
// last line has one, and a line ends at its first NUL byte.
void writeAsText(const std::string& from, const std::string& to) {
  std::ifstream input(from, std::ios::binary);
  std::ofstream output(to, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(input)), {});
  for (std::size_t start = 0; start < bytes.size();) {
    const std::size_t end = std::min(bytes.find_first_of("\r\n", start), bytes.size());
    output << bytes.substr(start, end - start).c_str() << '\n';
    start = end + (bytes.compare(end, 2, "\r\n") == 0 ? 2 : 1);
  }
}

// Runs diff(1) on two files and returns its exit status.
int runDiff(const std::string& path, const std::string& revision, const std::string& from,
            const std::string& to) {
  std::cout.flush();
  const std::string oldLabel = "--label=" + path + "\trevision " + revision;
  const std::string newLabel = "--label=" + path + "\tworking file";
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
  return WIFEXITED(status) ? WEXITSTATUS(status) : trouble;
}

int showDifference(const Session& session, const FileReport& report) {
  const std::string& path = report.file.path;
  const std::string working = session.directory + '/' + path;
  if (report.file.entry.has_value() && report.file.entry->isBinary()) {
    say("Binary file " + path + " differs");
    return different;
  }
  const std::string& revision = report.state.workingRevision;
  const TemporaryFile base, text;
  Provider provider(session.library, session.configuration);
  if (!provider.tie(session.directory) || !fetchRevision(provider, path, revision, base.path())) {
    return trouble;
  }
  writeAsText(working, text.path());
  const int status = runDiff(path, revision, base.path(), text.path());
  if (status != same) return status;
  complain(path + " differs only in its line ends, or behind NUL bytes");
  return different;
}

}  // namespace

int showDifferences(const Session& session, const Paths& paths) {
  std::vector<FileReport> changed;
  int status = same;
  survey(session, findFiles(session.directory, paths), [&](const GroupReport& group) {
    if (!group.trouble.empty()) {
      complain(group.directory + ": " + group.trouble);
      status = trouble;
    }
    for (const auto& file : group.files) {
      if (!file.trouble.empty()) {
        complain(file.file.path + ": " + file.trouble);
        status = trouble;
      }
      const bool isModified = file.state.modified && file.text == file.state.text;
      if (isModified && file.text != "missing") changed.push_back(file);
      if (file.text == "conflict") {
        complain(file.file.path + " has a conflict, and the client fetches no revision of it");
        status = trouble;
      }
    }
  });
  for (const auto& file : changed) status = std::max(status, showDifference(session, file));
  return status;
}
