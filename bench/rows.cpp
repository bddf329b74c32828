#include "rows.h"

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

constexpr char root[] = "/repo";  // the stand-in for the client has no use for one

// A provider that runs a given client on a working copy.
class TiedProvider : public CVSInterface {
 public:
  TiedProvider(const std::string& client, const std::string& repository,
               const fs::path& directory) {
    setOption("Environment/Source Code Control/CVSExecutable", client.c_str());
    setOption("Environment/Source Code Control/CVSRoot", repository.c_str());
    demand(setRoots(directory.c_str()), directory.string() + " is no working copy");
  }

  bool failed() { return *getLastErrorCommand() != '\0'; }
};

// What the stand-in for the client writes, for as long as this object lives.
class ChildOutput {
 public:
  explicit ChildOutput(const fs::path& file) { setenv("BENCH_OUTPUT", file.c_str(), 1); }
  ~ChildOutput() { unsetenv("BENCH_OUTPUT"); }
  ChildOutput(const ChildOutput&) = delete;
  ChildOutput& operator=(const ChildOutput&) = delete;
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

struct Listing {
  fs::path file;
  std::vector<std::string> names;
};

Listing makeListing(const Setup& setup, std::size_t files) {
  const fs::path file = setup.workspace.path() / ("status" + std::to_string(files));
  return {file, writeStatus(file, files)};
}

TiedProvider tieToChild(const Setup& setup, const fs::path& directory) {
  writeAdministration(directory);
  return TiedProvider(setup.child, root, directory);
}

// The first status of a directory; the last name tells whether all of it was read.
Side readingStatus(TiedProvider& provider, const Listing& listing) {
  return {[&] {
            const ChildOutput output(listing.file);
            demand(ask(provider, listing.names.front()).known, "a first status failed");
          },
          [&] {
            demand(ask(provider, listing.names.back()).known, "a first status was incomplete");
            provider.refresh();
          }};
}

Comparison divide(Comparison comparison, std::size_t by) {
  for (auto* values : {&comparison.provider, &comparison.reference}) {
    for (double& value : *values) value /= static_cast<double>(by);
  }
  return comparison;
}

std::vector<std::string> withPrefix(std::vector<std::string> names, const std::string& prefix) {
  for (auto& name : names) name.insert(0, prefix);
  return names;
}

FileStatusMap copyRecords(TiedProvider& provider, const std::string& prefix,
                          const std::vector<std::string>& names) {
  FileStatusMap records;
  for (const auto& name : names) {
    const CVSFileStatus* record = provider.getFileStatus(prefix + name);
    demand(record != nullptr, name + " has no status");
    records.emplace_hint(records.end(), name, *record);
  }
  return records;
}

// In bytes; `field` is one that the system counts in kilobytes.
double memoryOf(const std::string& field) {
  std::ifstream file("/proc/self/status");
  for (std::string line; std::getline(file, line);) {
    if (line.rfind(field, 0) == 0) return 1024 * std::stod(line.substr(field.size()));
  }
  throw std::runtime_error("the system does not tell " + field);
}

double measureGrowth(TiedProvider& provider, std::size_t count) {
  const double before = memoryOf("VmRSS:");
  std::vector<std::string> lines;
  const int result = provider.executeCVSCommand("status", {}, {"-l"}, "", {}, lines);
  const double growth = memoryOf("VmHWM:") - before;
  demand(result == 0 && lines.size() == count, "lines were lost");
  return growth;
}

// What `function` returns in a process of its own, which starts without memory to spare.
double inOtherProcess(const std::function<double()>& function) {
  int ends[2];
  demand(pipe(ends) == 0, "no pipe could be made");
  const pid_t other = fork();
  demand(other != -1, "no process could be made");
  if (other == 0) {
    try {
      const double result = function();
      _exit(write(ends[1], &result, sizeof result) == sizeof result ? 0 : 1);
    } catch (const std::exception&) {
      _exit(1);
    }
  }
  close(ends[1]);
  double result = 0;
  const bool received = read(ends[0], &result, sizeof result) == sizeof result;
  close(ends[0]);
  int status = -1;
  demand(waitpid(other, &status, 0) == other && status == 0 && received,
         "the process that measures memory failed");
  return result;
}

std::string repositoryOf(const Setup& setup) {
  return setup.workspace.path() / "repository";
}

const fs::path& treeOf(Setup& setup) {
  if (!setup.tree.has_value()) {
    setup.tree =
        checkOutTree(setup.client, repositoryOf(setup), setup.workspace.path(), setup.sizes.tree);
  }
  return *setup.tree;
}

}  // namespace

Comparison oneCommand(Setup& setup, int pairs) {
  const fs::path directory = setup.workspace.path() / "copy";
  TiedProvider provider = tieToChild(setup, directory);
  const Listing listing = makeListing(setup, 1);
  const std::string& name = listing.names.front();
  {
    const ChildOutput output(listing.file);
    demand(ask(provider, name).known, "a first status failed");
  }
  const std::size_t commands = setup.sizes.commands;
  const Side saving = {[&] {
                         for (std::size_t i = 0; i < commands; ++i) provider.saved(name.c_str());
                       },
                       [&] { demand(!provider.failed(), "saved failed"); }};
  const Arguments arguments = {setup.child, "-d", root, "status", "-l", name};
  const Side spawning = {[&] {
    for (std::size_t i = 0; i < commands; ++i) {
      readOutput(arguments, directory);
    }
  }};
  return divide(comparePairs(saving, spawning, pairs), commands);
}

Comparison collecting(Setup& setup, int pairs) {
  const fs::path file = setup.workspace.path() / "lines";
  const std::size_t count = setup.sizes.lines;
  writeLines(file, count);
  const ChildOutput output(file);
  TiedProvider provider = tieToChild(setup, setup.workspace.path() / "copy");
  std::vector<std::string> provided, referred;
  const auto settle = [count](std::vector<std::string>& lines) {
    demand(lines.size() == count && lines.back().size() == 66, "lines were lost");
    std::vector<std::string>().swap(lines);
  };
  return comparePairs({[&] { provider.executeCVSCommand("status", {}, {"-l"}, "", {}, provided); },
                       [&] { settle(provided); }},
                      {[&] {
                         referred = collectLines({setup.child, "-d", root, "status", "-l"});
                       },
                       [&] { settle(referred); }},
                      pairs);
}

Comparison firstStatus(Setup& setup, std::size_t files, int pairs) {
  const Listing listing = makeListing(setup, files);
  TiedProvider provider = tieToChild(setup, setup.workspace.path() / "copy");
  std::vector<std::string> lines;
  const Side reference = {[&] {
                            const ChildOutput output(listing.file);
                            lines = collectLines({setup.child, "-d", root, "status", "-l"});
                          },
                          [&] {
                            demand(lines.size() == 10 * files, "lines were lost");
                            std::vector<std::string>().swap(lines);
                          }};
  return comparePairs(readingStatus(provider, listing), reference, pairs);
}

Comparison growth(Setup& setup, int pairs) {
  const Listing many = makeListing(setup, setup.sizes.manyFiles);
  const Listing few = makeListing(setup, setup.sizes.fewFiles);
  TiedProvider provider = tieToChild(setup, setup.workspace.path() / "copy");
  return comparePairs(readingStatus(provider, many), readingStatus(provider, few), pairs);
}

Comparison cachedStatus(Setup& setup, const std::string& prefix, std::size_t files, int pairs) {
  Listing listing = makeListing(setup, files);
  TiedProvider provider = tieToChild(setup, setup.workspace.path() / "copy");
  fs::create_directories(setup.workspace.path() / "copy" / prefix);
  const ChildOutput output(listing.file);
  const FileStatusMap records = copyRecords(provider, prefix, listing.names);

  std::shuffle(listing.names.begin(), listing.names.end(), std::mt19937());
  const std::vector<std::string> keys = listing.names;
  const std::vector<std::string> paths = withPrefix(listing.names, prefix);
  const std::size_t rounds = std::max<std::size_t>(1, setup.sizes.lookups / keys.size());
  std::size_t asked = 0, found = 0;  // the answers, so that nobody can leave out a question
  const Side asking = {[&] {
    for (std::size_t round = 0; round < rounds; ++round) {
      for (const auto& path : paths) asked += ask(provider, path).modified;
    }
  }};
  const Side finding = {[&] {
    for (std::size_t round = 0; round < rounds; ++round) {
      for (const auto& key : keys) found += records.find(key)->second.modified;
    }
  }};
  const Comparison comparison = comparePairs(asking, finding, pairs);
  demand(asked == found && !provider.failed(), "the cache and the map disagree");
  return divide(comparison, rounds * keys.size());
}

Comparison peakMemory(Setup& setup, int pairs) {
  const fs::path file = setup.workspace.path() / "lines";
  const std::size_t count = setup.sizes.lines;
  writeLines(file, count);
  const ChildOutput output(file);
  TiedProvider provider = tieToChild(setup, setup.workspace.path() / "copy");
  Comparison comparison;
  for (int pair = 0; pair < pairs; ++pair) {
    comparison.provider.push_back(inOtherProcess([&] { return measureGrowth(provider, count); }));
    comparison.reference.push_back(static_cast<double>(fs::file_size(file)));
  }
  return comparison;
}

Comparison clientStatus(Setup& setup, int pairs) {
  const fs::path directory = treeOf(setup) / "flat";
  const std::string repository = repositoryOf(setup);
  TiedProvider provider(setup.client, repository, directory);
  const std::string name = fileNames(setup.sizes.tree.flatFiles).front();
  return comparePairs({[&] { demand(ask(provider, name).known, "a first status failed"); },
                       [&] { provider.refresh(); }},
                      {[&] {
                        readOutput({setup.client, "-d", repository, "status", "-l"}, directory);
                      }},
                      pairs);
}

Comparison hostStatus(Setup& setup, int pairs) {
  const fs::path deep = treeOf(setup) / "deep";
  const std::string repository = repositoryOf(setup);
  const Arguments host = {setup.scchost, "--client", setup.client, "-C", deep, "status"};
  std::vector<std::string> directories;
  for (std::size_t i = 0; i < setup.sizes.tree.directories; ++i) {
    directories.push_back(deep / ("part" + std::to_string(i)));
  }
  demand(collectLines(host).size() == directories.size() * setup.sizes.tree.filesPerDirectory,
         "scchost does not report every file");
  const Side client = {[&] {
    for (const auto& directory : directories) {
      readOutput({setup.client, "-d", repository, "status", "-l"}, directory);
    }
  }};
  return comparePairs({[&] { readOutput(host, deep); }}, client, pairs);
}
