#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <iterator>
#include <map>

#include "commands.h"
#include "console.h"
#include "operations.h"
#include "survey.h"
#include "untracked.h"

namespace {

struct Row {
  std::string statusText;
  std::string workingRevision;
  std::string repositoryRevision;
  std::string edited;
  std::string path;
};

// How a state is shown on a terminal: its colour, and the last line's words for one file and for
// several files.
struct Appearance {
  const char* text;
  const char* colour;
  const char* one;
  const char* many;
};

constexpr Appearance appearances[] = {
    {"Up-to-date", "\033[32m", "up to date", "up to date"},
    {"Locally Modified", "\033[33m", "modified", "modified"},
    {"added", "\033[33m", "added", "added"},
    {"removed", "\033[33m", "removed", "removed"},
    {"Needs Merge", "\033[31m", "needs a merge", "need a merge"},
    {"File had conflicts on merge", "\033[31m", "had a conflict", "had a conflict"},
    {"conflict", "\033[31m", "has a conflict", "have a conflict"},
    {"Needs Checkout", "\033[36m", "needs a checkout", "need a checkout"},
    {"Needs Patch", "\033[36m", "needs a patch", "need a patch"},
    {"missing", "\033[35m", "missing", "missing"},
    {"dead", "\033[35m", "dead", "dead"},
    {"?", "\033[2m", "untracked", "untracked"},
    {"no status", "\033[2m", "without a status", "without a status"},
    {"unknown", "\033[2m", "unknown", "unknown"},
};

constexpr std::string Row::*columns[] = {&Row::statusText, &Row::workingRevision,
                                         &Row::repositoryRevision, &Row::edited};

void printAligned(std::vector<Row> rows) {
  if (rows.empty()) return;
  rows.insert(rows.begin(), {"STATUS", "WORKING", "REPOSITORY", "EDITED", "PATH"});
  std::size_t widths[std::size(columns)] = {};
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < std::size(columns); ++i) {
      widths[i] = std::max(widths[i], (row.*columns[i]).size());
    }
  }
  const bool colour = isColourTerminal(STDOUT_FILENO);
  for (const auto& row : rows) {
    const auto* look = std::find_if(std::begin(appearances), std::end(appearances),
                                    [&](const auto& a) { return row.statusText == a.text; });
    const bool coloured = colour && look != std::end(appearances);
    if (coloured) std::cout << look->colour;
    for (std::size_t i = 0; i < std::size(columns); ++i) {
      const std::string& text = row.*columns[i];
      std::cout << text << std::string(widths[i] - text.size() + 2, ' ');
      if (coloured && i == 0) std::cout << "\033[0m";
    }
    std::cout << row.path << '\n';
  }
}

// Writes each row whole: a reader of a pipe never sees half a line.
void printSeparated(const Row& row) {
  std::cout << row.statusText + '\t' + row.workingRevision + '\t' + row.repositoryRevision + '\t' +
                   row.edited + '\t' + row.path + '\n'
            << std::flush;
}

// How many files are in which state.
class Totals {
 public:
  void add(const std::string& text) {
    ++counts_[text];
    ++files_;
  }
  void print() const {
    std::cout << files_ << (files_ == 1 ? " file" : " files");
    const char* separator = ": ";
    for (const auto& look : appearances) {
      const auto found = counts_.find(look.text);
      if (found == counts_.end()) continue;
      std::cout << separator << found->second << ' ' << (found->second == 1 ? look.one : look.many);
      separator = ", ";
    }
    std::cout << '\n';
  }

 private:
  std::map<std::string, std::size_t> counts_;
  std::size_t files_ = 0;
};

std::string textOf(const FileStatus& file) {
  // In the order of the states.
  constexpr const char* texts[] = {"",         "added", "removed",   "missing",
                                   "conflict", "dead",  "no status", "unknown"};
  return file.state == State::told ? file.answer.statusText : texts[static_cast<int>(file.state)];
}

Row rowOf(const FileStatus& file) {
  return {textOf(file), file.answer.workingRevision, file.answer.repositoryRevision,
          file.answer.edited ? "edited" : "", shown(file.file.path)};
}

// The paths of a directory's files that are not under version control.
Paths findUntrackedPaths(const Session& session, const std::string& directory) {
  const std::string prefix = directory == "." ? "" : directory + '/';
  Paths paths = findUntracked(session.pathOf(directory));
  for (auto& path : paths) path.insert(0, prefix);
  return paths;
}

}  // namespace

int showStatus(Job& job) {
  const bool terminal = isatty(STDOUT_FILENO) == 1;
  std::vector<Row> rows;
  Totals totals;
  Complaints complaints;
  const auto show = [&](const Row& row) {
    totals.add(row.statusText);
    if (job.line.changed && row.statusText == "Up-to-date" && row.edited.empty()) return;
    if (terminal) {
      rows.push_back(row);
    } else {
      printSeparated(row);
    }
  };
  survey(job.session, findOwnFiles(job), [&](const DirectoryStatus& directory) {
    complaints.add(directory.directory, directory.reason);
    for (const auto& file : directory.files) {
      show(rowOf(file));
      complaints.add(file.file.path, file.reason);
    }
    if (!job.line.untracked || !directory.isWhole || !directory.reason.empty()) return;
    for (const auto& path : findUntrackedPaths(job.session, directory.directory)) {
      show({"?", "", "", "", shown(path)});
    }
  });
  if (terminal) {
    printAligned(std::move(rows));
    totals.print();
  }
  return complaints.report();
}
