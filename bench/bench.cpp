// Measures the provider against doing the same by the system's own means.

#include <sys/utsname.h>

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

// BENCH_SANITIZED comes from the build: not every sanitizer can be told from inside.
#if defined(__OPTIMIZE__) && defined(NDEBUG) && !defined(BENCH_SANITIZED) && \
    !defined(__SANITIZE_ADDRESS__)
constexpr bool meaningful = true;
#else
constexpr bool meaningful = false;
#endif

constexpr Sizes fullSizes = {20, 1000000, 10000, 100000, 200000, {3000, 200, 100}};
constexpr Sizes quickSizes = {2, 1000, 100, 1000, 2000, {20, 3, 4}};

struct Options {
  bool quick = false;
  int repeat = 0;  // 0: what each row has of its own
  std::vector<int> rows;
  std::string scchost;
  std::string csv;

  int pairs(int usual) const { return repeat > 0 ? repeat : quick ? 2 : usual; }
};

struct Row {
  int number;
  const char* name;
  double unit;  // in seconds or bytes
  double target;
  int pairs;
  Comparison (*measure)(Setup& setup, int pairs);
};

Comparison statusOfMany(Setup& setup, int pairs) {
  return firstStatus(setup, setup.sizes.manyFiles, pairs);
}

template <const char* directory>
Comparison cachedAmongMany(Setup& setup, int pairs) {
  return cachedStatus(setup, setup.sizes.manyFiles, directory, pairs);
}

constexpr char top[] = "";
constexpr char deeper[] = "src/main/";

constexpr Row rows[] = {
    {1, "1  one command, us", 1e-6, 1.05, 100, oneCommand},
    {2, "2  collecting, ms", 1e-3, 1.0, 15, collecting},
    {3, "3  first status, ms", 1e-3, 1.1, 15, statusOfMany},
    {4, "4  growth, ms", 1e-3, 11, 15, growth},
    {5, "5a cached status, ns", 1e-9, 1.3, 15, cachedAmongMany<top>},
    {5, "5b same, deeper, ns", 1e-9, 1.3, 15, cachedAmongMany<deeper>},
    {6, "6  peak memory, MB", 1e6, 3.2, 5, peakMemory},
    {7, "7  real client, ms", 1e-3, 1.05, 15, clientStatus},
    {8, "8  scchost status, ms", 1e-3, 1.1, 5, hostStatus},
};

void printMachine() {
  std::ifstream processors("/proc/cpuinfo");
  std::string model;
  while (std::getline(processors, model) && model.rfind("model name", 0) != 0) {
  }
  utsname system = {};
  uname(&system);
  std::printf("Machine  %s, %u cores, %s %s %s\n", model.substr(model.find(':') + 1).c_str(),
              std::thread::hardware_concurrency(), system.sysname, system.release, system.machine);
#ifdef __clang__
  std::printf("Compiler  " __VERSION__);
#else
  std::printf("Compiler  g++ " __VERSION__);
#endif
  std::printf(", optimised, %zu-bit\n", 8 * sizeof(void*));
}

void printWorkloads(const Sizes& sizes) {
  std::printf(
      "Workload  In rows 1 to 6 both sides run the same child, which writes a made-up file to its\n"
      "          standard output by sendfile: nothing in row 1, plain lines in rows 2 and 6, else\n"
      "          what cvs status -l tells, ten lines a file, one file in ten not up to date.\n"
      "          In rows 7 and 8 it is cvs, on a repository imported beforehand.\n"
      "Method    The two sides run in turn, changing the order, after a pair that does not count.\n"
      "          A target is met when the median of the ratios, pair by pair, is.\n"
      "\n"
      "Row  provider                                    reference\n"
      "1    saved(), the directory being cached         posix_spawn, read stdout, waitpid\n"
      "2    executeCVSCommand(), %7zu lines of 66    popen, getline into a vector of strings\n"
      "3    first status() of %6zu files             the same of this output\n"
      "4    first status() of %6zu files             first status() of %zu files\n"
      "5a   status() among %6zu files of the root    std::map::find of the name\n"
      "5b   status() among %6zu files of src/main    std::map::find of the name\n"
      "6    growth of peak memory during row 2          bytes of output\n"
      "7    first status() of %4zu files               cvs status -l, read to the end as in row 1\n"
      "8    scchost status, %3zu directories of %3zu     the same in each directory\n"
      "\n",
      sizes.lines, sizes.manyFiles, sizes.manyFiles, sizes.fewFiles, sizes.manyFiles,
      sizes.manyFiles, sizes.tree.flatFiles, sizes.tree.directories, sizes.tree.filesPerDirectory);
}

void printHeading() {
  std::printf("%-22s%21s%21s%21s\n%-22s", "", "provider", "reference", "ratio in a pair", "");
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
  const Summary ratio = summarise(ratios(comparison));
  printSummary(summarise(comparison.provider), row.unit);
  printSummary(summarise(comparison.reference), row.unit);
  printSummary(ratio, 1);
  const char* verdict = !judge ? "" : ratio.median <= row.target ? "met" : "missed";
  std::printf("%6.2f %s\n", row.target, verdict);
}

// Why a row cannot be measured here, or nothing.
std::string reasonToSkip(const Setup& setup, const Row& row) {
  const bool needsHost = row.measure == hostStatus;
  const bool needsClient = needsHost || row.measure == clientStatus;
  if (needsClient && std::system("command -v cvs >/dev/null") != 0) return "there is no cvs";
  if (needsHost && !fs::exists(setup.scchost)) return "there is no " + setup.scchost;
  return "";
}

void measureRow(Setup& setup, const Row& row, const Options& options) {
  std::printf("%-22s", row.name);
  std::fflush(stdout);
  const std::string reason = reasonToSkip(setup, row);
  if (reason.empty()) {
    printRow(row, row.measure(setup, options.pairs(row.pairs)), !options.quick);
  } else {
    std::printf(" SKIPPED: %s\n", reason.c_str());
  }
}

void writePoint(std::ostream& csv, const char* row, std::size_t files, const Comparison& measured) {
  csv << row << ',' << files;
  for (const auto& values : {measured.provider, measured.reference}) {
    const Summary summary = summarise(values);
    csv << ',' << summary.minimum << ',' << summary.median << ',' << summary.maximum;
  }
  csv << '\n';
}

// The rows whose time depends on the number of files, for a range of it.
void measureCurves(Setup& setup, const Options& options) {
  const int pairs = options.pairs(9);
  std::ofstream csv(options.csv);
  csv << "row,files,provider min,median,max,reference min,median,max (seconds)\n";
  for (unsigned divisor : {100U, 50U, 20U, 10U, 5U, 2U, 1U}) {
    const std::size_t files = setup.sizes.manyFiles / divisor;
    writePoint(csv, "first status", files, firstStatus(setup, files, pairs));
    writePoint(csv, "cached status", files, cachedStatus(setup, files, top, pairs));
  }
  csv.flush();
  demand(csv.good(), options.csv + " could not be written");
}

void run(const Options& options) {
  const fs::path here = fs::read_symlink("/proc/self/exe").parent_path();
  const fs::path scchost = options.scchost.empty() ? here / "scchost" : fs::path(options.scchost);
  Setup setup = {
      options.quick ? quickSizes : fullSizes, here / "bench-child", fs::absolute(scchost), {}};
  setenv("HOME", setup.workspace.path().c_str(), 1);  // without the user's defaults for the client
  printMachine();
  printWorkloads(setup.sizes);
  if (options.quick) std::printf("A quick run: all works, but so small numbers mean nothing.\n\n");
  printHeading();
  const auto& wanted = options.rows;
  for (const Row& row : rows) {
    const bool chosen = std::find(wanted.begin(), wanted.end(), row.number) != wanted.end();
    if (wanted.empty() || chosen) measureRow(setup, row, options);
  }
  if (!options.csv.empty()) measureCurves(setup, options);
}

}  // namespace

int main(int argc, char** argv) try {
  if (!meaningful) {
    std::cerr << "bench: built without optimisation or with a sanitizer, it would measure that\n";
    return 2;
  }
  Options options;
  CLI::App app("Measures the provider against the system's own means.", "bench");
  app.add_flag("--quick", options.quick, "Tiny workloads, to see that everything works");
  app.add_option("--repeat", options.repeat, "Pairs in each row")->check(CLI::PositiveNumber);
  app.add_option("--row", options.rows, "Measure only this row; can be repeated");
  app.add_option("--scchost", options.scchost, "The program of row 8; else the one beside this");
  app.add_option("--csv", options.csv, "Then measure rows 3 and 5a over the number of files")
      ->type_name("FILE");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  run(options);
  return 0;
} catch (const std::exception& error) {
  std::cerr << "\nbench: " << error.what() << '\n';
  return 1;
}
