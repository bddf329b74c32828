// Measures the provider against doing the same with nothing but the system's own means.

#include <sys/utsname.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <thread>

#include "measure.h"
#include "rows.h"

namespace fs = std::filesystem;

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool sanitized = true;
#elif defined(__has_feature)
constexpr bool sanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool sanitized = false;
#endif

#if defined(__OPTIMIZE__) && defined(NDEBUG)
constexpr bool optimised = !sanitized;
#else
constexpr bool optimised = false;
#endif

constexpr Sizes fullSizes = {20, 1000000, 10000, 100000, 200000, {3000, 200, 100}};
constexpr Sizes quickSizes = {2, 1000, 100, 1000, 2000, {20, 3, 4}};
constexpr int quickPairs = 2;

struct Options {
  bool quick = false;
  int repeat = 0;  // 0: what each row has for itself
  std::vector<int> rows;
  std::string scchost;
  std::string csv;
};

enum class Needs { nothing, client, clientAndHost };

struct Row {
  int number;
  const char* name;
  double unit;  // in seconds or bytes
  double target;
  int pairs;
  Needs needs;
  Comparison (*measure)(Setup& setup, int pairs);
};

Comparison measureFirst(Setup& setup, int pairs) {
  return firstStatus(setup, setup.sizes.manyFiles, pairs);
}

Comparison measureCached(Setup& setup, int pairs) {
  return cachedStatus(setup, "", setup.sizes.manyFiles, pairs);
}

Comparison measureCachedDeeper(Setup& setup, int pairs) {
  return cachedStatus(setup, "src/main/", setup.sizes.manyFiles, pairs);
}

constexpr Row rows[] = {
    {1, "1  one command, us", 1e-6, 1.05, 100, Needs::nothing, oneCommand},
    {2, "2  collecting, ms", 1e-3, 1.0, 15, Needs::nothing, collecting},
    {3, "3  first status, ms", 1e-3, 1.1, 15, Needs::nothing, measureFirst},
    {4, "4  growth, ms", 1e-3, 11, 15, Needs::nothing, growth},
    {5, "5a cached status, ns", 1e-9, 1.3, 15, Needs::nothing, measureCached},
    {5, "5b same, deeper, ns", 1e-9, 1.3, 15, Needs::nothing, measureCachedDeeper},
    {6, "6  peak memory, MB", 1e6, 3.2, 5, Needs::nothing, peakMemory},
    {7, "7  real client, ms", 1e-3, 1.05, 15, Needs::client, clientStatus},
    {8, "8  scchost status, ms", 1e-3, 1.1, 5, Needs::clientAndHost, hostStatus},
};

std::string processorModel() {
  std::ifstream file("/proc/cpuinfo");
  for (std::string line; std::getline(file, line);) {
    if (line.rfind("model name", 0) == 0) return line.substr(line.find(':') + 2);
  }
  return "unknown processor";
}

void printMachine() {
  utsname system = {};
  uname(&system);
  std::printf("Machine   %s, %u cores, %s %s %s\n", processorModel().c_str(),
              std::thread::hardware_concurrency(), system.sysname, system.release, system.machine);
#ifdef __clang__
  const char* compiler = __VERSION__;
#else
  const char* compiler = "g++ " __VERSION__;
#endif
  std::printf("Compiler  %s, %zu-bit, optimised\n", compiler, 8 * sizeof(void*));
}

void printWorkloads(const Setup& setup) {
  const Sizes& sizes = setup.sizes;
  std::printf(
      "Workloads are made in %s and removed afterwards. In rows 1 to 6 the client of both\n"
      "sides is bench-child, which writes a file made beforehand to its standard output. "
      "\"status\"\n"
      "files hold ten lines a file, as the real client writes them, one file in ten being "
      "changed.\n"
      "\n"
      "Row  Provider                                     Reference\n"
      "1    saved() in a cached directory, child silent  posix_spawn, read stdout, waitpid\n"
      "2    executeCVSCommand(), %7zu lines of 66      popen, getline into a vector of strings\n"
      "3    first status() of %6zu files               popen, getline of the same output\n"
      "4    first status() of %6zu files               first status() of %zu files\n"
      "5a   status() of one of %6zu cached files       std::map::find of its name\n"
      "5b   the same, the paths led by src/main/         std::map::find of its name\n"
      "6    growth of the peak memory in row 2           bytes of output\n"
      "7    first status() of %4zu files, real client    the bare client's output, read to its "
      "end\n"
      "8    scchost status, %3zu directories of %3zu       the bare client in each directory\n"
      "\n",
      setup.workspace.path().c_str(), sizes.lines, sizes.manyFiles, sizes.manyFiles, sizes.fewFiles,
      sizes.manyFiles, sizes.tree.flatFiles, sizes.tree.directories, sizes.tree.filesPerDirectory);
}

void printHeading() {
  std::printf("%-22s%21s%21s%18s\n", "", "provider", "reference", "ratio, pair by pair");
  std::printf("%-22s%7s%7s%7s%7s%7s%7s%7s%7s%7s  %s\n", "", "min", "median", "max", "min", "median",
              "max", "min", "median", "max", "target");
}

void printSummary(const std::vector<double>& values, double unit) {
  const Summary summary = summarise(values);
  for (double value : {summary.minimum, summary.median, summary.maximum}) {
    const double scaled = value / unit;
    std::printf(" %6.*f", scaled < 10 ? 3 : scaled < 100 ? 2 : scaled < 1000 ? 1 : 0, scaled);
  }
}

void printRow(const Row& row, const Comparison& comparison, bool judge) {
  const std::vector<double> quotients = ratios(comparison);
  std::printf("%-22s", row.name);
  printSummary(comparison.provider, row.unit);
  printSummary(comparison.reference, row.unit);
  printSummary(quotients, 1);
  const bool met = summarise(quotients).median <= row.target;
  std::printf("  %5.2f %s\n", row.target, !judge ? "-" : met ? "met" : "missed");
}

std::string lackOf(const Row& row, const Setup& setup) {
  if (row.needs != Needs::nothing && setup.client.empty()) return "no cvs on the search path";
  if (row.needs == Needs::clientAndHost && setup.scchost.empty())
    return "no scchost; see --scchost";
  return {};
}

void measureRows(Setup& setup, const Options& options) {
  printHeading();
  for (const Row& row : rows) {
    const auto& wanted = options.rows;
    if (!wanted.empty() && std::find(wanted.begin(), wanted.end(), row.number) == wanted.end()) {
      continue;
    }
    const std::string lack = lackOf(row, setup);
    if (!lack.empty()) {
      std::printf("%-22s SKIPPED: %s\n", row.name, lack.c_str());
      continue;
    }
    const int pairs = options.repeat > 0 ? options.repeat : options.quick ? quickPairs : row.pairs;
    printRow(row, row.measure(setup, pairs), !options.quick);
    std::fflush(stdout);
  }
}

void writePoint(std::ostream& csv, const char* row, std::size_t files, const Comparison& measured) {
  csv << row << ',' << files;
  for (const auto* values : {&measured.provider, &measured.reference}) {
    const Summary summary = summarise(*values);
    csv << ',' << summary.minimum << ',' << summary.median << ',' << summary.maximum;
  }
  csv << '\n';
}

// The rows whose time depends on the number of files, for a range of it.
void measureCurves(Setup& setup, const Options& options) {
  constexpr int pairsOfPoint = 9;
  const int pairs = options.repeat > 0 ? options.repeat : options.quick ? quickPairs : pairsOfPoint;
  std::ofstream csv(options.csv);
  csv << "row,files,provider min,median,max,reference min,median,max (seconds)\n";
  for (std::size_t divisor : {100, 50, 20, 10, 5, 2, 1}) {
    const std::size_t files = setup.sizes.manyFiles / divisor;
    writePoint(csv, "first status", files, firstStatus(setup, files, pairs));
    writePoint(csv, "cached status", files, cachedStatus(setup, "", files, pairs));
  }
  csv.flush();
  demand(csv.good(), options.csv + " could not be written");
}

std::string findOnSearchPath(const std::string& program) {
  const char* search = std::getenv("PATH");
  std::istringstream directories(search == nullptr ? "/bin:/usr/bin" : search);
  for (std::string directory; std::getline(directories, directory, ':');) {
    const fs::path path = fs::path(directory) / program;
    if (path.is_absolute() && access(path.c_str(), X_OK) == 0) return path;
  }
  return {};
}

void run(const Options& options) {
  const fs::path here = fs::read_symlink("/proc/self/exe").parent_path();
  const fs::path scchost =
      options.scchost.empty() ? here / "scchost" : fs::absolute(options.scchost);
  Setup setup = {options.quick ? quickSizes : fullSizes,
                 here / "bench-child",
                 findOnSearchPath("cvs"),
                 fs::exists(scchost) ? scchost.string() : "",
                 {}};
  setenv("HOME", setup.workspace.path().c_str(), 1);  // the user's defaults for the client
  printMachine();
  printWorkloads(setup);
  if (options.quick)
    std::printf("A quick run: it shows that all works; its numbers mean little.\n\n");
  measureRows(setup, options);
  if (!options.csv.empty()) measureCurves(setup, options);
}

}  // namespace

int main(int argc, char** argv) {
  if (!optimised) {
    std::cerr << "bench: compiled without optimisation or with a sanitizer, it would measure that; "
                 "build it as Release\n";
    return 2;
  }
  Options options;
  CLI::App app("Measures the provider against the system's own means.", "bench");
  app.add_flag("--quick", options.quick, "Tiny workloads, to see that everything works");
  app.add_option("--repeat", options.repeat, "Pairs of runs in each row")
      ->check(CLI::PositiveNumber);
  app.add_option("--row", options.rows, "Measure this row only; may be repeated");
  app.add_option("--scchost", options.scchost, "The command-line host; else the one beside this");
  app.add_option("--csv", options.csv, "Then measure rows 3 and 5 over the number of files")
      ->type_name("FILE");
  CLI11_PARSE(app, argc, argv);
  try {
    run(options);
  } catch (const std::exception& error) {
    std::cerr << "bench: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
