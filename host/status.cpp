#include <fnmatch.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <map>
#include <sstream>

#include "console.h"
#include "files.h"
#include "operations.h"
#include "survey.h"

namespace {

// The texts of a line: state, working revision, repository's revision, "edited", and path.
using Row = std::array<std::string, 5>;

// How a state is shown on a terminal: its colour, and the last line's words for it.
struct Appearance {
  const char* text;
  const char* colour;
  const char* words;
};

constexpr Appearance appearances[] = {
    {"Up-to-date", "\033[32m", "up to date"},
    {"Locally Modified", "\033[33m", "modified"},
    {"added", "\033[33m", "added"},
    {"removed", "\033[33m", "removed"},
    {"Needs Merge", "\033[31m", "to be merged"},
    {"File had conflicts on merge", "\033[31m", "with an edited conflict"},
    {"conflict", "\033[31m", "with a conflict"},
    {"Needs Checkout", "\033[36m", "to be checked out"},
    {"Needs Patch", "\033[36m", "to be patched"},
    {"missing", "\033[35m", "missing"},
    {"dead", "\033[35m", "dead"},
    {"?", "\033[2m", "untracked"},
    {"no status", "\033[2m", "without a status"},
    {"unknown", "\033[2m", "unknown"},
};

void printAligned(std::vector<Row> rows) {
  if (rows.empty()) return;
  rows.insert(rows.begin(), {"STATUS", "WORKING", "REPOSITORY", "EDITED", "PATH"});
  std::array<std::size_t, 4> widths = {};
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < widths.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  const bool isColoured = isColourTerminal(STDOUT_FILENO);
  for (const auto& row : rows) {
    const auto* look = std::find_if(std::begin(appearances), std::end(appearances),
                                    [&](const auto& a) { return row[0] == a.text; });
    const bool hasColour = isColoured && look != std::end(appearances);
    for (std::size_t i = 0; i < widths.size(); ++i) {
      if (hasColour && i < 2) std::cout << (i == 0 ? look->colour : "\033[0m");
      std::cout << row[i] << std::string(widths[i] - row[i].size() + 2, ' ');
    }
    std::cout << row.back() << '\n';
  }
}

void printTotals(const std::map<std::string, std::size_t>& counts) {
  std::size_t files = 0;
  std::string states;
  for (const auto& [state, count] : counts) files += count;
  for (const auto& look : appearances) {
    const auto found = counts.find(look.text);
    if (found == counts.end()) continue;
    states += states.empty() ? ": " : ", ";
    states += std::to_string(found->second) + ' ' + look.words;
  }
  std::cout << files << (files == 1 ? " file" : " files") << states << '\n';
}

// The client's own default.
constexpr char defaultPatterns[] =
    ". .. RCS SCCS CVS CVS.adm RCSLOG cvslog.* tags TAGS .make.state .nse_depinfo *~ #* .#* ,* _$* "
    "*$ *.old *.bak *.BAK *.orig *.rej .del-* *.a *.olb *.o *.obj *.so *.exe *.Z *.elc *.ln core";

// A pattern "!" cancels all patterns before it.
void addPatterns(std::istream&& words, std::vector<std::string>& patterns) {
  for (std::string word; words >> word;) {
    if (word == "!") patterns.clear();
    if (word != "!") patterns.push_back(word);
  }
}

// A directory's files that neither its CVS/Entries name nor the client ignores, by its own default,
// CVSIGNORE, or a .cvsignore there or at home. The repository's own cvsignore is not known here.
Paths findUntracked(const Session& session, const std::string& directory) {
  const std::string place = session.pathOf(directory);
  std::vector<std::string> patterns;
  addPatterns(std::istringstream(defaultPatterns), patterns);
  addPatterns(openRegular(fromEnvironment("HOME") + "/.cvsignore"), patterns);
  addPatterns(std::istringstream(fromEnvironment("CVSIGNORE")), patterns);
  addPatterns(openRegular(place + "/.cvsignore"), patterns);
  const Entries entries = readEntries(place).value_or(Entries());
  Paths paths;
  for (const auto& name : listNames(place)) {
    const bool isIgnored = std::any_of(patterns.begin(), patterns.end(), [&](const auto& pattern) {
      return fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
    });
    if (isIgnored || name == "CVS" || entries.byName.count(name) > 0) continue;
    paths.push_back(directory == "." ? name : directory + '/' + name);
  }
  return paths;
}

}  // namespace

int showStatus(Job& job) {
  const bool isTerminal = isatty(STDOUT_FILENO) == 1;
  std::vector<Row> rows;
  std::map<std::string, std::size_t> counts;
  Complaints complaints;
  const auto show = [&](const Row& row) {
    ++counts[row[0]];
    if (job.line.changed && row[0] == "Up-to-date" && row[3].empty()) return;
    if (isTerminal) return rows.push_back(row);
    // Written as a whole: a reader of a pipe never sees half a line.
    std::cout << row[0] + '\t' + row[1] + '\t' + row[2] + '\t' + row[3] + '\t' + row[4] + '\n'
              << std::flush;
  };
  survey(job.session, findOwnFiles(job), [&](const DirectoryStatus& directory) {
    complaints.add(directory.directory, directory.reason);
    for (const auto& file : directory.files) {
      const FileState& answer = file.answer;
      show({textOf(file), answer.workingRevision, answer.repositoryRevision,
            answer.edited ? "edited" : "", shown(file.file.path)});
      complaints.add(file.file.path, file.reason);
    }
    if (!job.line.untracked || !directory.isWhole || !directory.reason.empty()) return;
    for (const auto& path : findUntracked(job.session, directory.directory)) {
      show({"?", "", "", "", shown(path)});
    }
  });
  if (isTerminal) {
    printAligned(std::move(rows));
    printTotals(counts);
  }
  return complaints.report();
}
