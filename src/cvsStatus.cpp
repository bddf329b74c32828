#include <algorithm>
#include <iterator>

#include "cvs.h"
#include "spawnProcess.h"

namespace {

constexpr std::string_view fileLabel = "File:";
constexpr std::string_view statusLabel = "Status:";
constexpr std::string_view workingRevisionLabel = "Working revision:\t";
constexpr std::string_view repositoryRevisionLabel = "Repository revision:\t";

struct StatusKind {
  const char* text;
  bool modified;
  bool outOfDate;
};

// In the order in which they are looked for.
constexpr StatusKind statusKinds[] = {
    {"Up-to-date", false, false},
    {"Locally Modified", true, false},
    {"File had conflicts on merge", true, false},
    {"Needs Merge", true, true},
    {"Needs Checkout", false, true},
    {"Needs Patch", false, true},
};

const StatusKind* findStatusKind(std::string_view region) {
  for (const auto& kind : statusKinds) {
    if (region.find(kind.text) != region.npos) return &kind;
  }
  return nullptr;
}

// The name between the two labels of a block's first line, without the blanks that pad it. The
// client puts "no file" before the name of a file that is missing here; those words stay.
std::string_view cutFileName(std::string_view line, std::size_t file, std::size_t status) {
  const std::size_t start = file + fileLabel.size() + 1;
  if (start >= status) return {};
  const std::size_t last = line.find_last_not_of(" \t", status - 1);
  return last == line.npos || last < start ? std::string_view()
                                           : line.substr(start, last + 1 - start);
}

// Reads the first word after a label. `revision` stays as it was when the line lacks the label.
void readRevision(std::string_view line, std::string_view label, std::string& revision) {
  const std::size_t found = line.find(label);
  if (found == line.npos) return;
  const std::string_view rest = line.substr(found + label.size());
  revision = rest.substr(0, rest.find_first_of(" \t\n\v\f\r"));
}

// The first line of a block: a file and its status. The status is null unless it is a known one.
struct Heading {
  std::string_view name;
  const StatusKind* status;
};

Heading readHeading(std::string_view line) {
  const std::size_t file = line.find(fileLabel);
  if (file == line.npos) return {};
  const std::size_t status = line.find(statusLabel, file);
  if (status == line.npos) return {};
  const std::size_t region = std::min(status + statusLabel.size() + 1, line.size());
  return {cutFileName(line, file, status), findStatusKind(line.substr(region))};
}

constexpr std::size_t workingRevisionLine = 2, repositoryRevisionLine = 3, blockLines = 5;

// Reads a block from its first line on. A revision that it lacks stays as it was.
template <typename Iterator>
void readBlock(Iterator line, const StatusKind& status, CVSFileStatus& record) {
  record.modified = status.modified;
  record.outOfDate = status.outOfDate;
  record.statusText = status.text;
  std::advance(line, workingRevisionLine);
  readRevision(*line, workingRevisionLabel, record.workingRevision);
  std::advance(line, repositoryRevisionLine - workingRevisionLine);
  readRevision(*line, repositoryRevisionLabel, record.repositoryRevision);
}

// Reads `count` lines from `line` on, of either string type. They are not copied: there may be very
// many.
template <typename Iterator>
void parseStatusLines(FileStatusMap& statusMap, Iterator line, std::size_t count) {
  CVSFileStatus record;  // one for all: a block without a revision keeps the one before
  while (count > repositoryRevisionLine) {
    const auto [name, status] = readHeading(*line);
    if (status != nullptr) {
      readBlock(line, *status, record);
      // The client sorts the names, so the end is the place. The copied record is moved in: memory
      // can run out before the change but not during it.
      statusMap.insert_or_assign(statusMap.end(), std::string(name), CVSFileStatus(record));
    }
    const std::size_t step = status == nullptr ? 1 : std::min(blockLines, count);
    std::advance(line, step);
    count -= step;
  }
}

}  // namespace

bool CVSInterface::parseStatusOutput(FileStatusMap* statusMap,
                                     const std::vector<std::string>& lines) {
  parseStatusLines(*statusMap, lines.begin(), lines.size());
  return true;
}

void CVSInterface::parseEditorsOutput(const std::string&, FileStatusMap* statusMap,
                                      const std::vector<std::string>& lines) {
  constexpr std::size_t editorFields = 5;  // a line about a further editor lacks the name
  for (const auto& line : lines) {
    std::string_view rest = line;
    const auto found = statusMap->find(takeToken(rest, "\t"));
    std::size_t fields = 1;
    while (!takeToken(rest, "\t").empty()) ++fields;
    if (fields >= editorFields && found != statusMap->end()) found->second.edited = true;
  }
}

std::string CVSInterface::getLocalDirectory(const std::string& path, std::string& fileName) {
  const std::size_t slash = path.rfind('/');
  if (slash == path.npos) {
    fileName = path;
    return localRoot;
  }
  fileName.assign(path, slash + 1, path.npos);
  std::string directory;
  directory.reserve(localRoot.size() + 1 + slash);  // every answer from the cache runs this
  directory.append(localRoot).append(1, '/').append(path, 0, slash);
  return directory;
}

CVSFileStatus* CVSInterface::getFileStatus(const std::string& path) {
  std::string fileName;
  const std::string directory = getLocalDirectory(path, fileName);
  const auto cached = statusCache.find(directory);
  FileStatusMap* statusMap =
      cached == statusCache.end() ? readDirectory(directory) : cached->second.get();
  if (statusMap == nullptr) return nullptr;
  const auto found = statusMap->find(fileName);
  return found == statusMap->end() ? nullptr : &found->second;
}

FileStatusMap* CVSInterface::readDirectory(const std::string& directory) {
  auto statusMap = std::make_unique<FileStatusMap>();
  {
    Process process;  // owns the lines: they are not copied, as there may be very many
    if (runCVSCommand(process, "status", {}, {"-l"}, directory, {}) != 0) return nullptr;
    parseStatusLines(*statusMap, process.outputLines.begin(), process.outputLines.size());
  }
  FileStatusMap* const cached =
      statusCache.emplace(directory, std::move(statusMap)).first->second.get();
  std::vector<std::string> lines;
  if (checkOutSupported() && executeCVSCommand("editors", {}, {"-l"}, directory, {}, lines) == 0) {
    parseEditorsOutput(directory, cached, lines);
  }
  return cached;
}

bool CVSInterface::status(const char* path, bool& controlled, bool& edited, bool& modified,
                          bool& outOfDate, const char*& statusText, const char*& workingRevision,
                          const char*& repositoryRevision) {
  controlled = false;
  const auto file = copyArgument(path);
  if (!file) return false;
  if (const CVSFileStatus* record = getFileStatus(*file)) {
    controlled = true;
    edited = record->edited;
    modified = record->modified;
    outOfDate = record->outOfDate;
    statusText = record->statusText.c_str();
    workingRevision = record->workingRevision.c_str();
    repositoryRevision = record->repositoryRevision.c_str();
    return true;
  }

  std::vector<std::string> lines;
  if (executeCVSCommand("rls", {"-q"}, {"-e"}, "", {remoteRoot + '/' + *file}, lines) != 0) {
    return false;
  }
  const auto namesFile = [](const std::string& line) { return !line.empty() && line[0] == '/'; };
  if (std::none_of(lines.begin(), lines.end(), namesFile)) return false;
  controlled = true;
  edited = false;
  modified = true;
  outOfDate = true;
  statusText = "missing";
  workingRevision = "";
  repositoryRevision = "";
  return true;
}

bool CVSInterface::saved(const char* path) {
  const auto file = copyArgument(path);
  if (!file) return false;
  std::string fileName;
  const std::string directory = getLocalDirectory(*file, fileName);
  const auto cached = statusCache.find(directory);
  if (cached == statusCache.end()) return true;
  std::vector<std::string> lines;
  if (executeCVSCommand("status", {}, {"-l"}, directory, {fileName}, lines) != 0) return true;
  parseStatusOutput(cached->second.get(), lines);
  if (checkOutSupported() &&
      executeCVSCommand("editors", {}, {}, directory, {fileName}, lines) == 0) {
    parseEditorsOutput(directory, cached->second.get(), lines);
  }
  return true;
}

bool CVSInterface::refresh() {
  statusCache.clear();
  return true;
}
