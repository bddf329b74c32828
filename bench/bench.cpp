// Measures the provider and scchost against the system's own means of doing the same.
// docs/measurements.md shows what it prints and tells what each row means to a user.

#include <fcntl.h>
#include <malloc.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <set>
#include <stdexcept>
#include <thread>

#include "cvs.h"

namespace fs = std::filesystem;

namespace {

// Does its work once and returns the milliseconds that it took.
using Side = std::function<double()>;

using Arguments = std::vector<std::string>;

void demand(bool condition, const std::string& otherwise) {
  if (!condition) throw std::runtime_error(otherwise);
}

double measure(const std::function<void()>& work) {
  malloc_trim(0);  // neither side is to profit from memory that the other has left
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
      .count();
}

void runShell(const std::string& commands) {
  const std::string script = "set -e; exec >/dev/null 2>&1; " + commands;
  demand(std::system(script.c_str()) == 0, "failed: " + commands);
}

// posix_spawn, read the standard output to the end, wait: the least that a program costs.
void runProgram(Arguments arguments, const std::string& directory) {
  std::vector<char*> pointers;
  for (auto& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  int ends[2];
  demand(pipe2(ends, O_CLOEXEC) == 0, "no pipe could be made");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addchdir_np(&actions, directory.c_str());
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = -1;
  const int error = posix_spawnp(&child, pointers[0], &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  char buffer[1 << 16];
  while (read(ends[0], buffer, sizeof buffer) > 0) continue;
  close(ends[0]);
  int status = -1;
  const bool succeeded = error == 0 && waitpid(child, &status, 0) == child && status == 0;
  demand(succeeded, arguments.front() + " failed in " + directory);
}

// popen, getline, pclose: the least that lines cost, in a form that a program can work with.
std::vector<std::string> collectLines(const Arguments& arguments) {
  std::string command;
  for (const auto& argument : arguments) command += '\'' + argument + "' ";
  FILE* stream = popen(command.c_str(), "r");
  demand(stream != nullptr, arguments.front() + " could not be started");
  std::vector<std::string> lines;
  char* line = nullptr;
  std::size_t capacity = 0;
  for (ssize_t length; (length = getline(&line, &capacity, stream)) > 0;) {
    lines.emplace_back(line, static_cast<std::size_t>(length) - 1);
  }
  std::free(line);
  demand(pclose(stream) == 0, arguments.front() + " failed");
  return lines;
}

std::string nameFile(std::size_t index) {
  return "sourceFile" + std::to_string(100000 + index) + ".cpp";
}

// A directory of a working copy, with its client, and a provider that is tied to it. Its member
// functions make the sides of the rows that compare within this process.
class Directory {
 public:
  Directory(const std::string& path, std::size_t files, const std::string& client,
            const std::string& repository)
      : path_(path), files_(files), arguments_{client, "-d", repository, "status", "-l"} {
    provider_.setOption("Environment/Source Code Control/CVSExecutable", client.c_str());
    provider_.setOption("Environment/Source Code Control/CVSRoot", repository.c_str());
    demand(provider_.setRoots(path.c_str()), path + " is not a working copy");
  }

  Side readStatus() {
    return [this] {
      const double time = measure([this] { ask(0); });
      ask(files_ - 1);  // it is known only if all of the output was read
      provider_.refresh();
      return time;
    };
  }

  Side save(int times) {
    ask(0);  // the client runs only for a file of a directory that was read
    return [this, times] {
      const double time = measure([this, times] {
        for (int i = 0; i < times; ++i) provider_.saved(nameFile(0).c_str());
      });
      demand(*provider_.getLastErrorCommand() == '\0', "saved failed");
      return time;
    };
  }

  Side runClient(int times) const {
    return [this, times] {
      return measure([this, times] {
        for (int i = 0; i < times; ++i) runProgram(arguments_, path_);
      });
    };
  }

  Side collect() const {
    return [this] {
      std::vector<std::string> lines;
      const double time = measure([&] { lines = collectLines(arguments_); });
      demand(lines.size() == 10 * files_, "lines were lost");
      return time;
    };
  }

 private:
  void ask(std::size_t file) {
    bool controlled = false, edited = false, modified = false, outOfDate = false;
    const char *text = nullptr, *workingRevision = nullptr, *repositoryRevision = nullptr;
    const bool isKnown = provider_.status(nameFile(file).c_str(), controlled, edited, modified,
                                          outOfDate, text, workingRevision, repositoryRevision);
    demand(isKnown, "a file has no status");
  }

  const std::string path_;
  const std::size_t files_;
  const Arguments arguments_;
  CVSInterface provider_;
};

// A directory whose status the child tells: ten lines for each file, one file in ten modified.
Directory makeUpDirectory(std::size_t files) {
  const fs::path directory = fs::absolute("madeUp");
  const fs::path status = fs::absolute("status" + std::to_string(files));
  fs::create_directories(directory / "CVS");
  std::ofstream(directory / "CVS/Repository") << "project\n";
  std::ofstream out(status);
  for (std::size_t i = 0; i < files; ++i) {
    out << std::string(67, '=') << "\nFile: " << nameFile(i)
        << "\tStatus: " << (i % 10 == 7 ? "Locally Modified" : "Up-to-date")
        << "\n\n   Working revision:\t1.4\t2003-03-03 10:00:00 +0000\n"
           "   Repository revision:\t1.4\t/repo/project/"
        << nameFile(i)
        << ",v\n   Commit Identifier:\t1006B0350900A1522F2\n   Sticky Tag:\t\t(none)\n"
           "   Sticky Date:\t\t(none)\n   Sticky Options:\t(none)\n\n";
  }
  demand(out.flush().good(), status.string() + " could not be written");
  return Directory(directory, files, "benchChild", status);
}

void makeSources(const std::string& tree, std::size_t directories, std::size_t filesInEach) {
  for (std::size_t i = 0; i < directories; ++i) {
    const fs::path directory = "sources/" + tree + "/part" + std::to_string(i);
    fs::create_directories(directory);
    for (std::size_t file = 0; file < filesInEach; ++file) {
      std::ofstream(directory / nameFile(file)) << nameFile(file) << '\n';
    }
  }
}

void expectStatus(const std::string& tree, const std::string& status, std::size_t files) {
  const std::string command = "scchost -C " + tree + " status | grep -c '^" + status + "'";
  runShell("test $(" + command + ") -eq " + std::to_string(files));
}

// Makes a repository, a working copy of its trees, which becomes the current directory, and a
// client that first waits for 100 ms. The tree "missing" is "small" without three of the ten files
// in each directory.
void makeTrees(std::size_t divisor) {
  makeSources("flat", 1, 3000 / divisor);
  makeSources("small", 500 / divisor, 10);
  makeSources("large", 200 / divisor, 100);
  runShell(
      "export CVSROOT=\"$PWD/repository\"; cvs init; cd sources;"
      "cvs import -m trees project bench start; cd ..; cvs checkout project");
  fs::current_path("project");
  runShell(
      "cp -a small missing; rm missing/part*/*[258].cpp;"
      "printf '#!/bin/sh\nsleep 0.1\nexec cvs \"$@\"\n' >slow; chmod +x slow");
  expectStatus("large", "Up-to-date", 200 / divisor * 100);
  expectStatus("missing", "missing", 500 / divisor * 3);
}

Side timeShell(const std::string& commands) {
  return [commands] { return measure([&] { runShell(commands); }); };
}

struct Row {
  const char* name;
  int pairs;
  double target;  // the most that the median of the ratios may be
  Side provider;
  Side reference;
};

struct Comparison {
  std::vector<double> provider, reference, ratios;  // one of each for a pair
};

// Runs the two sides in turn, changing the order with every pair, after one pair that does not
// count.
Comparison compare(const Side& provider, const Side& reference, int pairs) {
  provider();
  reference();
  Comparison comparison;
  for (int pair = 0; pair < pairs; ++pair) {
    const bool isProviderFirst = pair % 2 == 0;
    const double first = isProviderFirst ? provider() : reference();
    const double second = isProviderFirst ? reference() : provider();
    comparison.provider.push_back(isProviderFirst ? first : second);
    comparison.reference.push_back(isProviderFirst ? second : first);
    comparison.ratios.push_back(comparison.provider.back() / comparison.reference.back());
  }
  return comparison;
}

// Prints minimum, median and maximum of an odd number of values, and returns the median.
double print(std::vector<double> values, int width, int decimals) {
  std::sort(values.begin(), values.end());
  const double median = values[values.size() / 2];
  for (double value : {values.front(), median, values.back()}) {
    std::printf("%*.*f", width, decimals, value);
  }
  return median;
}

// Prints the times of row 2 over the number of files.
void printCurve(std::size_t most) {
  std::puts("# files; milliseconds of provider and reference: minimum, median, maximum");
  for (std::size_t divisor : {100, 50, 20, 10, 5, 2, 1}) {
    Directory directory = makeUpDirectory(most / divisor);
    const Comparison comparison = compare(directory.readStatus(), directory.collect(), 9);
    std::printf("%6zu", most / divisor);
    print(comparison.provider, 8, 2);
    print(comparison.reference, 8, 2);
    std::puts("");
  }
}

void printRow(const Row& row, bool isQuick) {
  std::printf("%-13s%4d", row.name, row.pairs);
  std::fflush(stdout);
  const Comparison comparison = compare(row.provider, row.reference, isQuick ? 1 : row.pairs);
  print(comparison.provider, 8, 1);
  print(comparison.reference, 8, 1);
  const bool isMet = print(comparison.ratios, 7, 3) <= row.target;
  std::printf("%8.3g%s\n", row.target, isQuick ? "" : isMet ? " yes" : " no");
}

// Prints the rows whose numbers are wanted, or all, of workloads that are divided.
void printRows(const std::set<std::string>& wanted, std::size_t divisor) {
  Directory one = makeUpDirectory(1), few = makeUpDirectory(10000 / divisor),
            many = makeUpDirectory(100000 / divisor);
  makeTrees(divisor);
  Directory flat(fs::absolute("flat/part0"), 3000 / divisor, "cvs", fs::absolute("../repository"));
  const Row rows[] = {
      {"20 commands", 101, 1.05, one.save(20), one.runClient(20)},
      {"first status", 15, 1.5, many.readStatus(), many.collect()},
      {"growth", 15, 11, many.readStatus(), few.readStatus()},
      {"real client", 15, 1.05, flat.readStatus(), flat.runClient(1)},
      {"tree", 7, 0.65, timeShell("scchost -C small status"),
       timeShell("for d in small/part*; do cd $d; cvs status -l; cd ../..; done")},
      {"large tree", 7, 1.2, timeShell("scchost -C large status"),
       timeShell("cd large; cvs -q status")},
      {"slow client", 3, 1.0 / 12,
       timeShell("cd small; scchost --client ../slow -j 16 status part1*"),
       timeShell("cd small; scchost --client ../slow -j 1 status part1*")},
      {"missing files", 7, 1.5, timeShell("scchost -C missing status"),
       timeShell("scchost -C small status")},
  };
  std::printf("g++ %s, optimised, %zu-bit; %u cores%s\n\n", __VERSION__, 8 * sizeof(void*),
              std::thread::hardware_concurrency(),
              divisor > 1 ? "; a quick run, whose numbers mean nothing" : "");
  std::puts(
      "                          provider, ms           reference, ms     ratio in a pair\n"
      "              pairs     min  median     max     min  median     max"
      "    min median    max  target met");
  int number = 0;
  for (const Row& row : rows) {
    ++number;
    if (!wanted.empty() && wanted.count(std::to_string(number)) == 0) continue;
    std::printf("%d ", number);
    printRow(row, divisor > 1);
  }
}

// A temporary directory, the current one as long as it lives.
struct Workspace {
  Workspace() {
    demand(mkdtemp(path.data()) != nullptr, "no directory could be made like " + path);
    fs::current_path(path);
  }
  ~Workspace() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
  }
  Workspace(const Workspace&) = delete;
  Workspace& operator=(const Workspace&) = delete;

  std::string path = fs::temp_directory_path() / "benchXXXXXX";
};

}  // namespace

int main(int argc, char** argv) try {
  constexpr int skipped = 77;
#if !defined(__OPTIMIZE__) || !defined(NDEBUG) || defined(__SANITIZE_ADDRESS__)
  std::cout << "SKIPPED: built without optimisation or with a sanitizer\n";
  return skipped;
#endif
  std::set<std::string> wanted(argv + 1, argv + argc);
  const std::size_t divisor = wanted.erase("--quick") > 0 ? 100 : 1;
  const bool isCurve = wanted.erase("--curve") > 0;
  const auto isRow = [](const std::string& word) {
    return word.size() == 1 && word >= "1" && word <= "8";
  };
  if (!std::all_of(wanted.begin(), wanted.end(), isRow)) {
    std::cerr << "usage: bench [--quick] [--curve | ROW...]\n";
    return wanted.count("--help") > 0 ? 0 : 2;
  }
  if (std::system("command -v cvs >/dev/null") != 0) {
    std::cout << "SKIPPED: there is no cvs\n";
    return skipped;
  }
  const fs::path programs = fs::read_symlink("/proc/self/exe").parent_path();
  const char* path = std::getenv("PATH");
  setenv("PATH", (programs.string() + ':' + (path == nullptr ? "" : path)).c_str(), 1);
  const Workspace workspace;
  setenv("HOME", workspace.path.c_str(), 1);  // without the user's defaults for the client
  for (const char* name : {"CVSROOT", "CVS_GNU_CLIENT"}) unsetenv(name);
  if (isCurve) {
    printCurve(100000 / divisor);
  } else {
    printRows(wanted, divisor);
  }
  return 0;
} catch (const std::exception& error) {
  std::cerr << "\nbench: " << error.what() << '\n';
  return 1;
}
