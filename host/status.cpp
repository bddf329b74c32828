#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <iterator>

#include "commands.h"
#include "workingCopy.h"

namespace {

struct Row {
  std::string statusText;
  std::string workingRevision;
  std::string repositoryRevision;
  std::string edited;
  std::string path;
};

// A line on a terminal's standard error that tells how far the work is, once it takes a second.
class Progress {
 public:
  explicit Progress(std::size_t total) : total_(total) {}
  ~Progress() {
    if (shown_) std::cerr << "\r\033[K";
  }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void show(std::size_t done) {
    const auto now = std::chrono::steady_clock::now();
    if (!terminal_ || now < next_) return;
    next_ = now + std::chrono::milliseconds(100);
    shown_ = true;
    std::cerr << "\rstatus: " << done << " of " << total_ << " files\033[K" << std::flush;
  }

 private:
  const std::size_t total_;
  const bool terminal_ = isatty(STDERR_FILENO) == 1;
  std::chrono::steady_clock::time_point next_ =
      std::chrono::steady_clock::now() + std::chrono::seconds(1);
  bool shown_ = false;
};

const char* colourOf(const std::string& statusText) {
  constexpr struct {
    const char* text;
    const char* colour;
  } colours[] = {
      {"Up-to-date", "\033[32m"},     {"Locally Modified", "\033[33m"},
      {"Needs Merge", "\033[31m"},    {"File had conflicts on merge", "\033[31m"},
      {"Needs Checkout", "\033[36m"}, {"Needs Patch", "\033[36m"},
      {"missing", "\033[35m"},
  };
  for (const auto& entry : colours) {
    if (statusText == entry.text) return entry.colour;
  }
  return "\033[2m";
}

// A terminal would obey the control characters of a name.
std::string printable(std::string text) {
  const auto isControl = [](unsigned char c) { return c < ' ' || c == 0x7f; };
  std::replace_if(text.begin(), text.end(), isControl, '?');
  return text;
}

constexpr std::string Row::*columns[] = {&Row::statusText, &Row::workingRevision,
                                         &Row::repositoryRevision, &Row::edited};

void printAligned(std::vector<Row> rows) {
  rows.insert(rows.begin(), {"STATUS", "WORKING", "REPOSITORY", "EDITED", "PATH"});
  std::size_t widths[std::size(columns)] = {};
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < std::size(columns); ++i) {
      widths[i] = std::max(widths[i], (row.*columns[i]).size());
    }
  }
  const char* noColour = std::getenv("NO_COLOR");
  const char* terminal = std::getenv("TERM");
  const bool colour = (noColour == nullptr || *noColour == '\0') &&
                      (terminal == nullptr || std::string(terminal) != "dumb");
  for (const auto& row : rows) {
    if (colour) std::cout << colourOf(row.statusText);
    for (std::size_t i = 0; i < std::size(columns); ++i) {
      const std::string& text = row.*columns[i];
      std::cout << text << std::string(widths[i] - text.size() + 2, ' ');
      if (colour && i == 0) std::cout << "\033[0m";
    }
    std::cout << printable(row.path) << '\n';
  }
}

void printSeparated(const Row& row) {
  std::cout << row.statusText << '\t' << row.workingRevision << '\t' << row.repositoryRevision
            << '\t' << row.edited << '\t' << row.path << '\n';
}

// Files that something went wrong with, told together where the client's words are the same.
class Troubles {
 public:
  void add(const std::string& path, const std::string& words) {
    if (troubles_.empty() || troubles_.back().words != words) troubles_.push_back({path, words, 0});
    ++troubles_.back().files;
  }
  int report() const {
    for (const auto& [path, words, files] : troubles_) {
      const std::string more = files > 1 ? " and " + std::to_string(files - 1) + " more" : "";
      complain(path + more + ": " + words);
    }
    return troubles_.empty() ? exitSuccess : exitFailure;
  }

 private:
  struct Trouble {
    std::string path;
    std::string words;
    std::size_t files;
  };
  std::vector<Trouble> troubles_;
};

bool isHere(const std::string& directory, const std::string& path) {
  std::error_code ignored;
  return std::filesystem::exists(std::filesystem::path(directory) / path, ignored);
}

}  // namespace

int showStatus(const Provider& provider, const std::string& directory, const Paths& paths) {
  const std::vector<VersionedFile> files = findFiles(directory, paths);
  const bool terminal = isatty(STDOUT_FILENO) == 1;
  std::vector<Row> rows;
  Troubles troubles;
  {
    Progress progress(files.size());
    std::size_t done = 0;
    for (const auto& file : files) {
      progress.show(done++);
      const FileState state = askStatus(provider.object(), file.path.c_str());
      Row row = {state.text, state.workingRevision, state.repositoryRevision,
                 state.edited ? "edited" : "", file.path};
      if (!state.known) {
        row.statusText = "unknown";
        if (!file.added) troubles.add(file.path, provider.describeFailure("status"));
      } else if (state.text == "missing" && isHere(directory, file.path)) {
        row.statusText = "no status";
        troubles.add(file.path,
                     "here, in a state that the provider cannot tell; " + provider.lastWords());
      }
      if (terminal) {
        rows.push_back(row);
      } else {
        printSeparated(row);
      }
    }
  }
  if (!rows.empty()) printAligned(std::move(rows));
  return troubles.report();
}
