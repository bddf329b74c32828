#include "workload.h"

#include <stdlib.h>

#include <algorithm>
#include <fstream>
#include <iomanip>

#include "measure.h"
#include "reference.h"

namespace fs = std::filesystem;

namespace {

std::ofstream create(const fs::path& path) {
  fs::create_directories(path.parent_path());
  std::ofstream file(path);
  file.exceptions(std::ios::badbit | std::ios::failbit);
  return file;
}

struct State {
  const char* status;
  const char* repositoryRevision;
  bool present;  // in the working copy
};

// One file in ten is not up to date.
State stateOf(std::size_t index) {
  switch (index % 50) {
    case 7:
      return {"Needs Patch", "1.5", true};
    case 17:
      return {"Needs Checkout", "1.4", false};
    case 27:
      return {"Needs Merge", "1.6", true};
    case 37:
    case 47:
      return {"Locally Modified", "1.4", true};
    default:
      return {"Up-to-date", "1.4", true};
  }
}

void writeBlock(std::ostream& out, const std::string& name, const State& state) {
  out << std::string(67, '=') << "\nFile: ";
  if (state.present) {
    out << std::left << std::setw(17) << name;
  } else {
    out << "no file " << name << '\t';
  }
  out << "\tStatus: " << state.status
      << "\n\n   Working revision:\t1.4\t2003-03-03 10:00:00 +0000\n   Repository revision:\t"
      << state.repositoryRevision << "\t/repo/proj/" << name
      << ",v\n   Commit Identifier:\t1006B0350900A1522F2\n   Sticky Tag:\t\t(none)\n"
         "   Sticky Date:\t\t(none)\n   Sticky Options:\t(none)\n\n";
}

void writeFiles(const fs::path& directory, std::size_t count) {
  for (const auto& name : fileNames(count)) create(directory / name) << "// " << name << '\n';
}

}  // namespace

Workspace::Workspace() {
  const fs::path parent = fs::temp_directory_path();
  std::string name = parent / "benchXXXXXX";
  demand(mkdtemp(name.data()) != nullptr, "no directory could be made in " + parent.string());
  path_ = name;
}

Workspace::~Workspace() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

std::vector<std::string> fileNames(std::size_t count) {
  constexpr const char* stems[] = {"buf",    "cache",         "directoryWalker", "entry",
                                   "filter", "historyReader", "keywordExpansion"};
  constexpr const char* extensions[] = {".h", ".cpp"};
  std::vector<std::string> names;
  for (std::size_t i = 0; i < count; ++i) {
    names.push_back(stems[i % std::size(stems)] + std::to_string(100000 + i) +
                    extensions[i % std::size(extensions)]);
  }
  std::sort(names.begin(), names.end());
  return names;
}

void writeLines(const fs::path& file, std::size_t count) {
  std::ofstream out = create(file);
  out << std::setfill('.');
  for (std::size_t i = 0; i < count; ++i) out << std::setw(66) << i << '\n';
  out.flush();
}

std::vector<std::string> writeStatus(const fs::path& file, std::size_t count) {
  std::ofstream out = create(file);
  std::vector<std::string> present;
  std::size_t index = 0;
  for (const auto& name : fileNames(count)) {
    const State state = stateOf(index++);
    writeBlock(out, name, state);
    if (state.present) present.push_back(name);
  }
  out.flush();
  return present;
}

void writeAdministration(const fs::path& directory) {
  create(directory / "CVS/Repository") << "proj\n";
}

fs::path checkOutTree(const std::string& client, const std::string& repository,
                      const fs::path& workspace, const TreeSizes& sizes) {
  const fs::path sources = workspace / "sources";
  writeFiles(sources / "flat", sizes.flatFiles);
  for (std::size_t i = 0; i < sizes.directories; ++i) {
    writeFiles(sources / "deep" / ("part" + std::to_string(i)), sizes.filesPerDirectory);
  }
  readOutput({client, "-d", repository, "init"}, workspace);
  readOutput({client, "-d", repository, "-Q", "import", "-m", "a tree", "proj", "bench", "start"},
             sources);
  fs::remove_all(sources);
  readOutput({client, "-d", repository, "-Q", "checkout", "proj"}, workspace);
  return workspace / "proj";
}
