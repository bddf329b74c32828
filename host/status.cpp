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

std::vector<VersionedFile> findFiles(const std::string& directory, const Paths& paths) {
  std::vector<VersionedFile> files;
  for (const auto& path : paths) {
    std::error_code ignored;
    if (std::filesystem::is_directory(std::filesystem::path(directory) / path, ignored)) {
      listFiles(directory, path, files);
    } else {
      files.push_back(findFile(directory, path));
    }
  }
  return files;
}

}  // namespace

int showStatus(const Provider& provider, const std::string& directory, const Paths& paths) {
  const std::vector<VersionedFile> files = findFiles(directory, paths);
  const bool terminal = isatty(STDOUT_FILENO) == 1;
  std::vector<Row> rows;
  std::vector<std::string> failures;
  {
    Progress progress(files.size());
    std::size_t done = 0;
    for (const auto& file : files) {
      progress.show(done++);
      bool controlled = false, edited = false, modified = false, outOfDate = false;
      const char *text = "unknown", *working = "", *repository = "";
      const bool known = provider->status(file.path.c_str(), controlled, edited, modified,
                                          outOfDate, text, working, repository);
      if (!known && !file.added) {
        const std::string failure = provider.describeFailure("status");
        if (failures.empty() || failures.back() != failure) failures.push_back(failure);
      }
      const Row row = {text, working, repository, edited ? "edited" : "", file.path};
      if (terminal) {
        rows.push_back(row);
      } else {
        printSeparated(row);
      }
    }
  }
  if (!rows.empty()) printAligned(std::move(rows));
  std::cout << std::flush;
  for (const auto& failure : failures) complain(failure);
  return failures.empty() ? exitSuccess : exitFailure;
}
