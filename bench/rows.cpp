#include "rows.h"

#include <malloc.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <random>

#include "cvs.h"
#include "reference.h"

namespace fs = std::filesystem;

namespace {

constexpr char noRepository[] = "/repo";  // the stand-in for the client has no use for one
constexpr char realClient[] = "cvs";

// A provider that runs a given client on a working copy.
class TiedProvider : public CVSInterface {
 public:
  TiedProvider(const std::string& client, const std::string& repository,
               const fs::path& directory) {
    setOption("Environment/Source Code Control/CVSExecutable", client.c_str());
    setOption("Environment/Source Code Control/CVSRoot", repository.c_str());
    demand(setRoots(directory.c_str()), directory.string() + " is no working copy");
  }
};

struct Answer {
  bool known, controlled, edited, modified, outOfDate;
  const char *text, *workingRevision, *repositoryRevision;
};

Answer ask(CVSInterface& provider, const std::string& path) {
  Answer answer = {};
  answer.known = provider.status(path.c_str(), answer.controlled, answer.edited, answer.modified,
                                 answer.outOfDate, answer.text, answer.workingRevision,
                                 answer.repositoryRevision);
  return answer;
}

// What `status -l` writes of a directory.
struct Listing {
  fs::path file;
  std::vector<std::string> names;
};

Listing makeListing(const Setup& setup, std::size_t files) {
  const fs::path file = setup.workspace.path() / ("status" + std::to_string(files));
  return {file, writeStatus(file, files)};
}

fs::path makeLines(const Setup& setup) {
  fs::path file = setup.workspace.path() / "lines";
  writeLines(file, setup.sizes.lines);
  return file;
}

void letChildWrite(const fs::path& file) {
  demand(setenv("BENCH_OUTPUT", file.c_str(), 1) == 0, "the environment is full");
}

TiedProvider tieToChild(const Setup& setup) {
  const fs::path directory = setup.workspace.path() / "copy";
  writeAdministration(directory);
  return TiedProvider(setup.child, noRepository, directory);
}

Arguments childArguments(const Setup& setup) {
  return {setup.child, "-d", noRepository, "status", "-l"};
}

// Checks that all lines are there, and frees them.
void settleLines(std::vector<std::string>& lines, std::size_t count) {
  demand(lines.size() == count, "lines were lost");
  std::vector<std::string>().swap(lines);
}

// The first status of a directory; the last name tells whether all of it was read.
Side readingStatus(TiedProvider& provider, const Listing& listing) {
  const auto read = [&] {
    letChildWrite(listing.file);
    demand(ask(provider, listing.names.front()).known, "a first status failed");
  };
  const auto forget = [&] {
    demand(ask(provider, listing.names.back()).known, "a first status was incomplete");
    provider.refresh();
  };
  return {read, forget};
}

FileStatusMap copyRecords(TiedProvider& provider, const std::string& directory,
                          const std::vector<std::string>& names) {
  FileStatusMap records;
  for (const auto& name : names) {
    const CVSFileStatus* record = provider.getFileStatus(directory + name);
    demand(record != nullptr, name + " has no status");
    records.emplace_hint(records.end(), name, *record);
  }
  return records;
}

// In bytes; `field` is one that the system counts in kilobytes.
double memoryOf(const std::string& field) {
  std::ifstream file("/proc/self/status");
  std::string line;
  while (std::getline(file, line) && line.rfind(field, 0) != 0) {
  }
  demand(file.good(), "the system does not tell " + field);
  return 1024 * std::stod(line.substr(field.size()));
}

double growthOfCollecting(TiedProvider& provider, std::size_t count) {
  malloc_trim(0);  // it is not to live on memory that is there already
  const double before = memoryOf("VmRSS:");
  std::vector<std::string> lines;
  const int result = provider.executeCVSCommand("status", {}, {"-l"}, "", {}, lines);
  const double growth = memoryOf("VmHWM:") - before;
  demand(result == 0, "collecting failed");
  settleLines(lines, count);
  return growth;
}

// What a function returns in a process of its own, whose peak memory is only its own.
double inOtherProcess(const std::function<double()>& function) {
  int ends[2];
  demand(pipe(ends) == 0, "no pipe could be made");
  const pid_t other = fork();
  demand(other != -1, "no process could be made");
  double result = 0;
  if (other == 0) {
    try {
      result = function();
    } catch (const std::exception&) {
      _exit(1);
    }
    _exit(write(ends[1], &result, sizeof result) == sizeof result ? 0 : 1);
  }
  close(ends[1]);
  const bool received = read(ends[0], &result, sizeof result) == sizeof result;
  close(ends[0]);
  demand(waitpid(other, nullptr, 0) == other && received, "memory could not be measured");
  return result;
}

std::string repositoryOf(const Setup& setup) {
  return setup.workspace.path() / "repository";
}

fs::path treeOf(Setup& setup) {
  if (!setup.tree.has_value()) {
    setup.tree =
        checkOutTree(realClient, repositoryOf(setup), setup.workspace.path(), setup.sizes.tree);
  }
  return *setup.tree;
}

}  // namespace

Comparison oneCommand(Setup& setup, int pairs) {
  TiedProvider provider = tieToChild(setup);
  const Listing listing = makeListing(setup, 1);
  const std::string& name = listing.names.front();
  letChildWrite(listing.file);
  demand(ask(provider, name).known, "a first status failed");

  letChildWrite("");
  Arguments arguments = childArguments(setup);
  arguments.push_back(name);
  const auto save = [&] {
    for (std::size_t i = 0; i < setup.sizes.commands; ++i) provider.saved(name.c_str());
  };
  const auto spawn = [&] {
    for (std::size_t i = 0; i < setup.sizes.commands; ++i) {
      readOutput(arguments, provider.getLocalRoot());
    }
  };
  const Comparison comparison = comparePairs({save}, {spawn}, pairs);
  demand(*provider.getLastErrorCommand() == '\0', "saved failed");
  return divide(comparison, setup.sizes.commands);
}

Comparison collecting(Setup& setup, int pairs) {
  letChildWrite(makeLines(setup));
  TiedProvider provider = tieToChild(setup);
  std::vector<std::string> lines;
  const auto execute = [&] {
    demand(provider.executeCVSCommand("status", {}, {"-l"}, "", {}, lines) == 0,
           "collecting failed");
  };
  const auto collect = [&] { lines = collectLines(childArguments(setup)); };
  const auto settle = [&] { settleLines(lines, setup.sizes.lines); };
  return comparePairs({execute, settle}, {collect, settle}, pairs);
}

Comparison firstStatus(Setup& setup, std::size_t files, int pairs) {
  const Listing listing = makeListing(setup, files);
  TiedProvider provider = tieToChild(setup);
  std::vector<std::string> lines;
  const auto collect = [&] { lines = collectLines(childArguments(setup)); };
  const auto settle = [&] { settleLines(lines, 10 * files); };
  return comparePairs(readingStatus(provider, listing), {collect, settle}, pairs);
}

Comparison growth(Setup& setup, int pairs) {
  const Listing many = makeListing(setup, setup.sizes.manyFiles);
  const Listing few = makeListing(setup, setup.sizes.fewFiles);
  TiedProvider provider = tieToChild(setup);
  return comparePairs(readingStatus(provider, many), readingStatus(provider, few), pairs);
}

Comparison cachedStatus(Setup& setup, std::size_t files, const std::string& directory, int pairs) {
  Listing listing = makeListing(setup, files);
  TiedProvider provider = tieToChild(setup);
  fs::create_directories(provider.getLocalRoot() + ('/' + directory));
  letChildWrite(listing.file);
  const FileStatusMap records = copyRecords(provider, directory, listing.names);

  std::shuffle(listing.names.begin(), listing.names.end(), std::mt19937());
  const std::vector<std::string> keys = listing.names;
  std::vector<std::string> paths = keys;
  for (auto& path : paths) path.insert(0, directory);
  const std::size_t rounds = std::max<std::size_t>(1, setup.sizes.lookups / keys.size());
  std::size_t asked = 0, found = 0;  // from every answer, so that no question can be left out
  const auto askAll = [&] {
    for (std::size_t round = 0; round < rounds; ++round) {
      for (const auto& path : paths) asked += ask(provider, path).modified;
    }
  };
  const auto findAll = [&] {
    for (std::size_t round = 0; round < rounds; ++round) {
      for (const auto& key : keys) found += records.find(key)->second.modified;
    }
  };
  const Comparison comparison = comparePairs({askAll}, {findAll}, pairs);
  demand(asked == found, "the cache and the map disagree");
  return divide(comparison, rounds * keys.size());
}

Comparison peakMemory(Setup& setup, int pairs) {
  const fs::path file = makeLines(setup);
  letChildWrite(file);
  TiedProvider provider = tieToChild(setup);
  const auto measure = [&] { return growthOfCollecting(provider, setup.sizes.lines); };
  Comparison comparison;
  for (int pair = 0; pair < pairs; ++pair) {
    comparison.provider.push_back(inOtherProcess(measure));
    comparison.reference.push_back(static_cast<double>(fs::file_size(file)));
  }
  return comparison;
}

Comparison clientStatus(Setup& setup, int pairs) {
  const fs::path directory = treeOf(setup) / "flat";
  const std::string name = fileNames(setup.sizes.tree.flatFiles).front();
  const Arguments arguments = {realClient, "-d", repositoryOf(setup), "status", "-l"};
  TiedProvider provider(realClient, repositoryOf(setup), directory);
  const auto read = [&] { demand(ask(provider, name).known, "a first status failed"); };
  const auto forget = [&] { provider.refresh(); };
  const auto spawn = [&] { readOutput(arguments, directory); };
  return comparePairs({read, forget}, {spawn}, pairs);
}

Comparison hostStatus(Setup& setup, int pairs) {
  const fs::path deep = treeOf(setup) / "deep";
  const TreeSizes& sizes = setup.sizes.tree;
  const Arguments client = {realClient, "-d", repositoryOf(setup), "status", "-l"};
  const Arguments host = {setup.scchost, "--client", realClient, "-C", deep, "status"};
  demand(collectLines(host).size() == sizes.directories * sizes.filesPerDirectory,
         "scchost does not report every file");
  const auto runHost = [&] { readOutput(host, deep); };
  const auto runClients = [&] {
    for (std::size_t i = 0; i < sizes.directories; ++i) {
      readOutput(client, deep / ("part" + std::to_string(i)));
    }
  };
  return comparePairs({runHost}, {runClients}, pairs);
}
