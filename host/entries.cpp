#include "entries.h"

#include <algorithm>
#include <fstream>
#include <string_view>

#include "files.h"

namespace {

// Cuts the next field, which ends at a slash, off the front of `line`.
std::string takeField(std::string_view& line) {
  const std::string_view field = line.substr(0, line.find('/'));
  line.remove_prefix(std::min(field.size() + 1, line.size()));
  return std::string(field);
}

// One line of an Entries file: "/NAME/REVISION/TIMESTAMP/OPTIONS/TAG" for a file, "D/NAME////" for
// a directory, "D" where there are no directories.
void applyEntry(std::string_view line, bool remove, Entries& entries) {
  const bool directory = line.substr(0, 1) == "D";
  if (directory) {
    entries.namesDirectories = true;
    line.remove_prefix(1);
  }
  if (line.substr(0, 1) != "/") return;
  line.remove_prefix(1);
  const std::string name = takeField(line);
  if (name.empty() || name == "." || name == ".." || line.empty()) return;
  if (remove) {
    entries.byName.erase(name);
    return;
  }
  Entry& entry = entries.byName[name];
  entry.directory = directory;
  for (std::string* field : {&entry.revision, &entry.timestamp, &entry.options}) {
    *field = takeField(line);
  }
}

// The directory of a file, and its name there.
std::pair<std::string, std::string> split(const std::string& file) {
  const std::size_t name = file.rfind('/') + 1;
  return {name == 0 ? "./" : file.substr(0, name), file.substr(name)};
}

}  // namespace

const Entry* Entries::find(const std::string& name) const {
  const auto found = byName.find(name);
  return found == byName.end() ? nullptr : &found->second;
}

Entries parseEntries(std::istream& main, std::istream& log) {
  Entries entries;
  std::string line;
  while (std::getline(main, line)) applyEntry(line, false, entries);
  while (std::getline(log, line)) {
    const bool remove = line.rfind("R ", 0) == 0;
    if (!remove && line.rfind("A ", 0) != 0) continue;
    applyEntry(std::string_view(line).substr(2), remove, entries);
  }
  return entries;
}

std::optional<Entries> readEntries(const std::string& directory) {
  std::ifstream main = openRegular(directory + "/CVS/Entries");
  std::ifstream log = openRegular(directory + "/CVS/Entries.Log");
  if (!main) return std::nullopt;
  Entries entries = parseEntries(main, log);
  if (entries.namesDirectories) return entries;
  for (const auto& name : listNames(directory)) {
    const bool isListed = entries.find(name) != nullptr;
    if (isListed || kindOf(directory + '/' + name + "/CVS") != FileKind::directory) continue;
    entries.byName[name].directory = true;
  }
  return entries;
}

std::string readRecordedRoot(const std::string& directory) {
  std::ifstream file = openRegular(directory + "/CVS/Root");
  std::string root;
  std::getline(file, root);
  return root;
}

std::string baseCopyOf(const std::string& file) {
  const auto [directory, name] = split(file);
  return directory + "CVS/Base/" + name;
}

std::string readBaseRevision(const std::string& file) {
  const auto [directory, name] = split(file);
  std::ifstream lines = openRegular(directory + "CVS/Baserev");
  std::string revision;
  for (std::string line; std::getline(lines, line);) {
    const std::string begin = 'B' + name + '/';
    if (line.rfind(begin, 0) == 0)
      revision = line.substr(begin.size(), line.find('/', begin.size()) - begin.size());
  }
  return revision;
}
