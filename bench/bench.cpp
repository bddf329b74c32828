// Measures the provider and its command-line host against doing the same by the system's own means.

#include <argp.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <random>
#include <thread>

#include "cvs.h"
#include "workload.h"

namespace fs = std::filesystem;

namespace {

// What the command line says, and what the rows share.
struct Bench {
  bool quick = false;
  std::vector<std::size_t> rows;  // none for all
  std::string csv;
  int pairs = 0;  // of the row at work
  fs::path programs = fs::read_symlink("/proc/self/exe").parent_path();
  std::string child = programs / "benchChild";  // stands in for the client
  std::string scchost = programs / "scchost";
  fs::path workspace = {};
  bool hasTrees = false;  // they are made for the first row that needs them

  std::size_t scale(std::size_t full) const { return quick ? (full + 99) / 100 : full; }
  Tree flat() const { return {"flat", 1, scale(3000)}; }
  Tree small() const { return {"small", scale(500), 10}; }
  Tree large() const { return {"large", scale(200), 100}; }
  std::string repository() const { return workspace / "repository"; }
  fs::path directoryOf(const Tree& tree) const { return workspace / "project" / tree.name; }
};

// Does its work once and returns what that took, in seconds or bytes.
using Side = std::function<double()>;

// What the two sides took, the two runs of a pair at the same index.
struct Comparison {
  std::vector<double> provider;
  std::vector<double> reference;
};

// `settle` is not timed: it checks the result and readies the next run.
Side timed(
    const std::function<void()>& work, const std::function<void()>& settle = [] {}) {
  return [=] {
    malloc_trim(0);  // neither side is to profit from memory that the other has left
    const auto start = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    settle();
    return seconds.count();
  };
}

// Runs the two sides in turn, changing the order with every pair, after one pair that does not
// count. The result is for one of `parts` equal parts of each run.
Comparison compare(const Bench& bench, const Side& provider, const Side& reference,
                   std::size_t parts = 1) {
  const auto divisor = static_cast<double>(parts);
  provider();
  reference();
  Comparison comparison;
  for (int pair = 0; pair < bench.pairs; ++pair) {
    const bool isProviderFirst = pair % 2 == 0;
    if (isProviderFirst) comparison.provider.push_back(provider() / divisor);
    comparison.reference.push_back(reference() / divisor);
    if (!isProviderFirst) comparison.provider.push_back(provider() / divisor);
  }
  return comparison;
}

// Names the file that the child writes to its standard output; nothing for none.
void letChildWrite(const fs::path& file) {
  demand(setenv("BENCH_OUTPUT", file.c_str(), 1) == 0, "the environment is full");
}

Arguments childArguments(const Bench& bench) {
  return {bench.child, "-d", "/repo", "status", "-l"};
}

void settleLines(std::vector<std::string>& lines, std::size_t count) {
  demand(lines.size() == count, "lines were lost");
  std::vector<std::string>().swap(lines);
}

// A provider that is tied to a working copy and has its client.
class TiedProvider {
 public:
  TiedProvider(const std::string& client, const std::string& repository,
               const fs::path& directory) {
    provider_.setOption("Environment/Source Code Control/CVSExecutable", client.c_str());
    provider_.setOption("Environment/Source Code Control/CVSRoot", repository.c_str());
    demand(provider_.setRoots(directory.c_str()), directory.string() + " is no working copy");
  }

  CVSInterface* operator->() { return &provider_; }

  // Asks for the status of a file, which has to have one. Returns whether it is modified.
  bool ask(const std::string& path) {
    bool controlled = false, edited = false, modified = false, outOfDate = false;
    const char *text = nullptr, *workingRevision = nullptr, *repositoryRevision = nullptr;
    const bool known = provider_.status(path.c_str(), controlled, edited, modified, outOfDate, text,
                                        workingRevision, repositoryRevision);
    if (!known) demand(false, path + " has no status");  // a text that is not to be measured
    return modified;
  }

 private:
  CVSInterface provider_;
};

// A directory whose status the child tells, and a provider tied to it.
struct MadeUpDirectory {
  MadeUpDirectory(const Bench& bench, std::size_t files)
      : names(fileNames(files)),
        output(bench.workspace / ("status" + std::to_string(files))),
        provider(bench.child, "/repo", makeCopy(bench)) {
    writeFile(output, makeStatus(names));
    letChildWrite(output);
  }

  static fs::path makeCopy(const Bench& bench) {
    writeFile(bench.workspace / "madeUp/CVS/Repository", "project\n");
    return bench.workspace / "madeUp";
  }

  // The first status of the directory; the last name tells whether all of it was read.
  Side firstStatus() {
    return timed(
        [this] {
          letChildWrite(output);
          provider.ask(names.front());
        },
        [this] {
          provider.ask(names.back());
          provider->refresh();
        });
  }

  const std::vector<std::string> names;
  const fs::path output;
  TiedProvider provider;
};

Comparison measureCommand(const Bench& bench) {
  MadeUpDirectory directory(bench, 1);
  const std::string& name = directory.names.front();
  directory.provider.ask(name);
  letChildWrite("");
  Arguments arguments = childArguments(bench);
  arguments.push_back(name);
  const std::string root = directory.provider->getLocalRoot();
  constexpr std::size_t commands = 20;  // in one run
  const auto save = [&] {
    for (std::size_t i = 0; i < commands; ++i) directory.provider->saved(name.c_str());
  };
  const auto spawn = [&] {
    for (std::size_t i = 0; i < commands; ++i) runProgram(arguments, root);
  };
  Comparison comparison = compare(bench, timed(save), timed(spawn), commands);
  demand(*directory.provider->getLastErrorCommand() == '\0', "saved failed");
  return comparison;
}

Comparison measureCollecting(const Bench& bench) {
  const std::size_t count = bench.scale(1000000);
  MadeUpDirectory directory(bench, 1);
  std::string text;
  for (std::size_t i = 0; i < count; ++i) text += std::string(65, '.') + '\n';
  writeFile(directory.output, text);
  std::string().swap(text);
  std::vector<std::string> lines;
  const auto execute = [&] {
    const int result = directory.provider->executeCVSCommand("status", {}, {"-l"}, "", {}, lines);
    demand(result == 0, "collecting failed");
  };
  const auto collect = [&] { lines = collectLines(childArguments(bench)); };
  const auto settle = [&] { settleLines(lines, count); };
  return compare(bench, timed(execute, settle), timed(collect, settle));
}

Comparison measureFirst(const Bench& bench, std::size_t files) {
  MadeUpDirectory directory(bench, files);
  std::vector<std::string> lines;
  const auto collect = [&] { lines = collectLines(childArguments(bench)); };
  const auto settle = [&] { settleLines(lines, 10 * files); };
  return compare(bench, directory.firstStatus(), timed(collect, settle));
}

Comparison measureGrowth(const Bench& bench) {
  MadeUpDirectory many(bench, bench.scale(100000)), few(bench, bench.scale(10000));
  return compare(bench, many.firstStatus(), few.firstStatus());
}

Comparison measureCached(const Bench& bench, std::size_t files) {
  MadeUpDirectory directory(bench, files);
  fs::create_directories(bench.workspace / "madeUp/src/main");
  std::vector<std::string> keys = directory.names, paths;
  std::shuffle(keys.begin(), keys.end(), std::mt19937());
  std::map<std::string, CVSFileStatus> records;
  for (const auto& name : directory.names) {
    records.emplace_hint(records.end(), name,
                         *directory.provider->getFileStatus("src/main/" + name));
  }
  for (const auto& key : keys) paths.push_back("src/main/" + key);
  const std::size_t rounds = 1 + bench.scale(200000) / files;
  std::size_t asked = 0, found = 0;  // from every answer, so that no question can be left out
  const auto askAll = [&] {
    for (std::size_t round = 0; round < rounds; ++round) {
      for (const auto& path : paths) asked += directory.provider.ask(path);
    }
  };
  const auto findAll = [&] {
    for (std::size_t round = 0; round < rounds; ++round) {
      for (const auto& key : keys) found += records.find(key)->second.modified;
    }
  };
  Comparison comparison = compare(bench, timed(askAll), timed(findAll), rounds * files);
  demand(asked == found, "the cache and the map disagree");
  return comparison;
}

Comparison measureClient(const Bench& bench) {
  const fs::path directory = bench.directoryOf(bench.flat()) / "part0";
  TiedProvider provider("cvs", bench.repository(), directory);
  const std::string name = fileNames(bench.flat().filesInEach).front();
  const Arguments client = {"cvs", "-d", bench.repository(), "status", "-l"};
  return compare(bench, timed([&] { provider.ask(name); }, [&] { provider->refresh(); }),
                 timed([&] { runProgram(client, directory); }));
}

Arguments hostArguments(const Bench& bench, const Tree& tree, const Arguments& more) {
  Arguments arguments = {bench.scchost, "-C", bench.directoryOf(tree), "status"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return arguments;
}

Side host(const Bench& bench, const Tree& tree, const Arguments& more = {}) {
  const Arguments arguments = hostArguments(bench, tree, more);
  return timed([=, &bench] { runProgram(arguments, bench.workspace); });
}

// The client in each of the small directories.
Side clients(const Bench& bench) {
  return timed([&bench] {
    const Tree tree = bench.small();
    for (std::size_t i = 0; i < tree.directories; ++i) {
      runProgram({"cvs", "-d", bench.repository(), "status", "-l"},
                 bench.directoryOf(tree) / ("part" + std::to_string(i)));
    }
  });
}

// One run of the client, through all directories of a tree.
Side recursiveClient(const Bench& bench, const Tree& tree) {
  return timed([=, &bench] { runProgram({"cvs", "-q", "status"}, bench.directoryOf(tree)); });
}

Comparison measureSlowClient(const Bench& bench) {
  const fs::path client = bench.workspace / "slow-cvs";
  writeFile(client, "#!/bin/sh\nsleep 0.1\nexec cvs \"$@\"\n");
  fs::permissions(client, fs::perms::owner_all);
  const auto side = [&](const char* jobs) {
    Arguments more = {"--client", client, "-j", jobs};
    for (std::size_t i = 0; i < bench.scale(200); ++i) {
      more.push_back(bench.directoryOf(bench.small()) / ("part" + std::to_string(i)));
    }
    return host(bench, bench.small(), more);
  };
  return compare(bench, side("16"), side("1"));
}

Comparison measureHostMemory(const Bench& bench) {
  const auto side = [&](const char* jobs) -> Side {
    return [&bench, jobs] {
      // The system counts what this process has used among what its child uses: forget the peak.
      malloc_trim(0);
      demand(std::ofstream("/proc/self/clear_refs").put('5').flush().good(), "it is remembered");
      return runProgram(hostArguments(bench, bench.large(), {"-j", jobs}), bench.workspace);
    };
  };
  return compare(bench, side("16"), side("1"));
}

struct Row {
  const char* name;
  double unit;    // in seconds or bytes
  double target;  // the most that the median of the ratios may be; 0 for none
  int pairs;
  bool needsClient;
  Comparison (*measure)(const Bench& bench);
};

constexpr double ns = 1e-9, us = 1e-6, ms = 1e-3, megabytes = 1e6;

// docs/measurements.md tells what the two sides of each row are.
constexpr Row rows[] = {
    {"one command, us", us, 1.05, 100, false, measureCommand},
    {"collecting, ms", ms, 1, 15, false, measureCollecting},
    {"first status, ms", ms, 1.1, 15, false,
     [](const Bench& b) { return measureFirst(b, b.scale(100000)); }},
    {"growth, ms", ms, 11, 15, false, measureGrowth},
    {"cached status, ns", ns, 1.3, 15, false,
     [](const Bench& b) { return measureCached(b, b.scale(100000)); }},
    {"real client, ms", ms, 1.05, 15, true, measureClient},
    {"tree, one job, ms", ms, 1.05, 5, true,
     [](const Bench& b) {
       return compare(b, host(b, b.small(), {"-j", "1"}), clients(b));
     }},
    {"tree, jobs, ms", ms, 0.65, 5, true,
     [](const Bench& b) { return compare(b, host(b, b.small()), clients(b)); }},
    {"small, recursive, ms", ms, 0, 5, true,
     [](const Bench& b) { return compare(b, host(b, b.small()), recursiveClient(b, b.small())); }},
    {"large, recursive, ms", ms, 1.2, 5, true,
     [](const Bench& b) { return compare(b, host(b, b.large()), recursiveClient(b, b.large())); }},
    {"slow client, ms", ms, 1.0 / 12, 2, true, measureSlowClient},
    {"memory, MB", megabytes, 2, 5, true, measureHostMemory},
};

struct Summary {
  double minimum, median, maximum;
};

Summary summarise(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t upper = values.size() / 2, lower = (values.size() - 1) / 2;
  return {values.front(), (values[lower] + values[upper]) / 2, values.back()};
}

void printHeading(const Bench& bench) {
  std::printf("g++ " __VERSION__ ", optimised, %zu-bit; %u cores\n", 8 * sizeof(void*),
              std::thread::hardware_concurrency());
  if (bench.quick) std::printf("A quick run, on a hundredth of that: its numbers mean nothing.\n");
  std::printf("\n%24s%21s%21s%21s\n%-24s", "", "provider", "reference", "ratio in a pair", "");
  for (int group = 0; group < 3; ++group) std::printf("%7s%7s%7s", "min", "median", "max");
  std::printf("  target\n");
}

void printSummary(const Summary& summary, double unit) {
  for (double value : {summary.minimum, summary.median, summary.maximum}) {
    const double scaled = value / unit;
    std::printf("%7.*f", scaled < 10 ? 3 : scaled < 100 ? 2 : scaled < 1000 ? 1 : 0, scaled);
  }
}

void printRow(const Row& row, const Comparison& comparison, bool judge) {
  std::vector<double> ratios;
  std::transform(comparison.provider.begin(), comparison.provider.end(),
                 comparison.reference.begin(), std::back_inserter(ratios), std::divides<>());
  const Summary ratio = summarise(ratios);
  printSummary(summarise(comparison.provider), row.unit);
  printSummary(summarise(comparison.reference), row.unit);
  printSummary(ratio, 1);
  if (row.target > 0) std::printf("%7.3g", row.target);
  if (row.target > 0 && judge) std::printf(ratio.median <= row.target ? " met" : " missed");
  std::printf("\n");
}

// Makes what the rows with the real client need. Returns what stands in the way, or nothing.
std::string makeTrees(Bench& bench) {
  if (std::system("command -v cvs >/dev/null") != 0) return "there is no cvs";
  if (!fs::exists(bench.scchost)) return "there is no " + bench.scchost;
  if (bench.hasTrees) return "";
  const Tree large = bench.large();
  checkOutTrees(bench.workspace, bench.repository(), {bench.flat(), bench.small(), large});
  demand(
      collectLines(hostArguments(bench, large, {})).size() == large.directories * large.filesInEach,
      "scchost does not report every file");
  bench.hasTrees = true;
  return "";
}

void measureRow(Bench& bench, std::size_t number) {
  const Row& row = rows[number - 1];
  std::printf("%2zu %-21s", number, row.name);
  std::fflush(stdout);
  const std::string obstacle = row.needsClient ? makeTrees(bench) : "";
  if (obstacle.empty()) {
    bench.pairs = bench.quick ? 2 : row.pairs;
    printRow(row, row.measure(bench), !bench.quick);
  } else {
    std::printf(" SKIPPED: %s\n", obstacle.c_str());
  }
}

// Writes rows 3 and 5 over the number of files.
void writeCurves(Bench& bench) {
  bench.pairs = 9;
  std::ofstream csv(bench.csv);
  csv << "row,files,provider min,median,max,reference min,median,max (seconds)\n";
  const auto write = [&](const char* row, std::size_t files, const Comparison& comparison) {
    csv << row << ',' << files;
    for (const auto& values : {comparison.provider, comparison.reference}) {
      const Summary summary = summarise(values);
      csv << ',' << summary.minimum << ',' << summary.median << ',' << summary.maximum;
    }
    csv << '\n';
  };
  for (unsigned divisor : {100U, 50U, 20U, 10U, 5U, 2U, 1U}) {
    const std::size_t files = bench.scale(100000) / divisor;
    write("first status", files, measureFirst(bench, files));
    write("cached status", files, measureCached(bench, files));
  }
  demand(csv.flush().good(), bench.csv + " could not be written");
}

void run(Bench& bench) {
  setenv("HOME", bench.workspace.c_str(), 1);  // without the user's defaults for the client
  unsetenv("CVS_GNU_CLIENT");
  printHeading(bench);
  const auto& wanted = bench.rows;
  for (std::size_t row = 1; row <= std::size(rows); ++row) {
    const bool chosen = std::find(wanted.begin(), wanted.end(), row) != wanted.end();
    if (wanted.empty() || chosen) measureRow(bench, row);
  }
  if (!bench.csv.empty()) writeCurves(bench);
}

constexpr argp_option options[] = {
    {"quick", 'q', nullptr, 0, "Tiny workloads, to see that everything works", 0},
    {"row", 'r', "ROW", 0, "Measure only this row; can be repeated", 0},
    {"csv", 'c', "FILE", 0, "Then measure rows 3 and 5 over the number of files", 0},
    {}};

error_t readOption(int key, char* value, argp_state* state) {
  Bench& bench = *static_cast<Bench*>(state->input);
  const std::size_t number = value == nullptr ? 0 : std::strtoul(value, nullptr, 10);
  if (key == 'q') {
    bench.quick = true;
  } else if (key == 'r' && number > 0 && number <= std::size(rows)) {
    bench.rows.push_back(number);
  } else if (key == 'c') {
    bench.csv = value;
  } else if (value != nullptr) {
    argp_error(state, "%s is out of place", value);
  } else {
    return ARGP_ERR_UNKNOWN;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) try {
#if !defined(__OPTIMIZE__) || !defined(NDEBUG) || defined(__SANITIZE_ADDRESS__)
  std::cerr << "bench: built without optimisation or with a sanitizer, it would measure that\n";
  return 2;
#endif
  argp_err_exit_status = 2;
  const argp parser = {
      options, readOption, nullptr, "Measures the provider against the system's own means.",
      nullptr, nullptr,    nullptr};
  Bench bench;
  argp_parse(&parser, argc, argv, 0, nullptr, &bench);

  std::string workspace = fs::temp_directory_path() / "benchXXXXXX";
  demand(mkdtemp(workspace.data()) != nullptr, "no directory could be made like " + workspace);
  bench.workspace = workspace;
  const auto remove = [](const std::string* path) {
    std::error_code ignored;
    fs::remove_all(*path, ignored);
  };
  const std::unique_ptr<const std::string, decltype(remove)> removing(&workspace, remove);
  run(bench);
  return 0;
} catch (const std::exception& error) {
  std::cerr << "\nbench: " << error.what() << '\n';
  return 1;
}
