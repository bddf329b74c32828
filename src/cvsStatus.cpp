#include <algorithm>
#include <cstring>

#include "cvs.h"

namespace {

constexpr char fileLabel[] = "File:";
constexpr char statusLabel[] = "Status:";
constexpr char workingRevisionLabel[] = "Working revision:\t";
constexpr char repositoryRevisionLabel[] = "Repository revision:\t";
constexpr char blanks[] = " \t";

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

const StatusKind* findStatusKind(const std::string& line, std::size_t from) {
  for (const auto& kind : statusKinds) {
    if (line.find(kind.text, from) != std::string::npos) return &kind;
  }
  return nullptr;
}

// The name between the two labels of a block's first line, verbatim: the client pads it with
// blanks, and puts "no file" before the name of a file that is missing here.
std::string cutFileName(const std::string& line, std::size_t file, std::size_t status) {
  const std::size_t start = file + std::strlen(fileLabel) + 1;
  if (start >= status) return {};
  const std::size_t last = line.find_last_not_of(blanks, status - 1);
  return last == std::string::npos || last < start ? std::string()
                                                   : line.substr(start, last + 1 - start);
}

// The first word after a label; `revision` stays as it was when the line does not hold the label.
void readRevision(const std::string& line, const char* label, std::string& revision) {
  const std::size_t found = line.find(label);
  if (found == std::string::npos) return;
  const std::size_t start = found + std::strlen(label);
  revision = line.substr(start, line.find_first_of(" \t\n\v\f\r", start) - start);
}

}  // namespace

bool CVSInterface::parseStatusOutput(FileStatusMap* statusMap,
                                     const std::vector<std::string>& lines) {
  constexpr std::size_t workingRevisionLine = 2, repositoryRevisionLine = 3, blockLines = 5;
  CVSFileStatus record;  // not reset: a block without a revision keeps the one before
  std::size_t advance = 1;
  for (std::size_t i = 0; i < lines.size(); i += advance) {
    advance = 1;
    const std::string& line = lines[i];
    const std::size_t file = line.find(fileLabel);
    if (file == std::string::npos) continue;
    const std::size_t status = line.find(statusLabel, file);
    if (status == std::string::npos) continue;
    const StatusKind* kind = findStatusKind(line, status + std::strlen(statusLabel) + 1);
    if (kind == nullptr) continue;
    if (lines.size() - i <= repositoryRevisionLine) break;

    record.modified = kind->modified;
    record.outOfDate = kind->outOfDate;
    record.statusText = kind->text;
    readRevision(lines[i + workingRevisionLine], workingRevisionLabel, record.workingRevision);
    readRevision(lines[i + repositoryRevisionLine], repositoryRevisionLabel,
                 record.repositoryRevision);
    statusMap->insert_or_assign(statusMap->end(), cutFileName(line, file, status), record);
    advance = blockLines;
  }
  return true;
}

void CVSInterface::parseEditorsOutput(const std::string&, FileStatusMap* statusMap,
                                      const std::vector<std::string>& lines) {
  constexpr std::size_t editorFields = 5;  // further editors of a file lack the first, its name
  for (const auto& line : lines) {
    std::vector<std::string> fields;
    splitString(line.c_str(), "\t", fields);
    if (fields.size() < editorFields) continue;
    const auto found = statusMap->find(fields[0]);
    if (found != statusMap->end()) found->second.edited = true;
  }
}

std::string CVSInterface::getLocalDirectory(const std::string& path, std::string& fileName) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) {
    fileName = path;
    return localRoot;
  }
  fileName = path.substr(slash + 1);
  return localRoot + '/' + path.substr(0, slash);
}

CVSFileStatus* CVSInterface::getFileStatus(const std::string& path) {
  std::string fileName;
  const std::string directory = getLocalDirectory(path, fileName);
  auto cached = statusCache.find(directory);
  if (cached == statusCache.end()) {
    std::vector<std::string> lines;
    if (executeCVSCommand("status", {}, {"-l"}, directory, {}, lines) != 0) return nullptr;
    auto statusMap = std::make_unique<FileStatusMap>();
    parseStatusOutput(statusMap.get(), lines);
    cached = statusCache.emplace(directory, std::move(statusMap)).first;
    if (checkOutSupported() &&
        executeCVSCommand("editors", {}, {"-l"}, directory, {}, lines) == 0) {
      parseEditorsOutput(directory, cached->second.get(), lines);
    }
  }
  const auto found = cached->second->find(fileName);
  return found == cached->second->end() ? nullptr : &found->second;
}

bool CVSInterface::status(const char* path, bool& controlled, bool& edited, bool& modified,
                          bool& outOfDate, const char*& statusText, const char*& workingRevision,
                          const char*& repositoryRevision) {
  controlled = false;
  if (path == nullptr) return false;
  if (const CVSFileStatus* record = getFileStatus(path)) {
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
  if (executeCVSCommand("rls", {"-q"}, {"-e"}, "", {remoteRoot + '/' + path}, lines) != 0) {
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
  if (path == nullptr) return false;
  std::string fileName;
  const std::string directory = getLocalDirectory(path, fileName);
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
