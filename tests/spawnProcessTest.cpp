#include "spawnProcess.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/time.h>

#include <chrono>
#include <ctime>

#include "support.h"

namespace {

using Argv = std::list<const char*>;

// One run of a shell script, and what it left behind.
struct Outcome {
  int result;
  Lines output;
  Lines errors;

  explicit Outcome(const char* script, bool wait = true, const char* directory = nullptr)
      : Outcome(Argv{"/bin/sh", "-c", script}, wait, directory) {}
  Outcome(const Argv& argv, bool wait = true, const char* directory = nullptr) {
    Process process;
    result = process.run(argv, wait, directory, true, true, true, false, true);
    output.assign(process.outputLines.begin(), process.outputLines.end());
    errors.assign(process.errorLines.begin(), process.errorLines.end());
    EXPECT_EQ(process.outputBuffer == nullptr, output.empty());
    EXPECT_EQ(process.errorBuffer == nullptr, errors.empty());
  }
};

TEST(Process, CutsLines) {
  const std::pair<const char*, Lines> cases[] = {
      {"", {}},
      {"a\\nb\\n", {"a", "b"}},
      {"a\\nb", {"a", "b"}},
      {"a\\n\\nb", {"a", "", "b"}},
      {"a\\r\\nb\\r\\n", {"a", "b"}},
      {"\\r", {""}},
      {"\\n\\r\\r\\n", {"", "", ""}},
      {"a\\r\\n\\rb\\n\\rc", {"a", "", "b", "", "c"}},
      {"a\\0b\\nc", {"a", "c"}},
  };
  for (const auto& [written, lines] : cases) {
    Outcome run((std::string("printf '") + written + "'; printf '" + written + "' >&2").c_str());
    EXPECT_EQ(run.result, 0);
    EXPECT_EQ(run.output, lines) << written;
    EXPECT_EQ(run.errors, lines) << written;
  }
}

TEST(Process, CarriesLongOutputWholeAndInOrder) {
  // The pair of carriage return and line feed is split across two reads.
  Outcome split("head -c 1023 /dev/zero | tr '\\0' a; printf '\\r'; sleep 0.1; printf '\\nb'");
  EXPECT_EQ(split.output, (Lines{std::string(1023, 'a'), "b"}));

  Outcome both("i=0; while [ $i -lt 20000 ]; do echo $i; echo e$i >&2; i=$((i+1)); done");
  ASSERT_EQ(both.output.size(), 20000u);
  ASSERT_EQ(both.errors.size(), 20000u);
  EXPECT_EQ(both.output[12345], "12345");
  EXPECT_EQ(both.errors[19999], "e19999");

  Outcome large("head -c 100000000 /dev/zero | tr '\\0' x");
  ASSERT_EQ(large.output.size(), 1u);
  EXPECT_EQ(large.output[0].size(), 100000000u);
}

TEST(Process, ReportsHowTheChildEnded) {
  const std::tuple<const char*, bool, int> cases[] = {
      {"exit 0", true, 0},
      {"exit 127", true, 127},
      {"exit 128", true, -128},
      {"exit 255", true, -1},
      {"kill -9 $$", true, -1},
      {"exit 3", false, 3},
      {"exit 200", false, -56},
      {"kill -9 $$", false, 0},
      {"exec >&-; sleep 0.9 && exit 3", false, 0},
  };
  for (const auto& [script, wait, result] : cases) {
    int found = Outcome(script, wait).result;
    // On a busy machine an end may be seen too late.
    for (int tries = 1; tries < 5 && !wait && found == 0; ++tries) {
      found = Outcome(script, wait).result;
    }
    EXPECT_EQ(found, result) << script << (wait ? ", waiting" : "");
  }
  while (waitpid(-1, nullptr, 0) > 0) continue;  // one seen too late is the host's to reap
}

TEST(Process, FailsWhenNothingCanBeRun) {
  const std::string tooLong(131072, 'x');
  const Argv cases[] = {{}, {""}, {"no-such-program"}, {"/etc/passwd"}, {"true", tooLong.c_str()}};
  for (const Argv& argv : cases) {
    const Outcome run(argv);
    EXPECT_EQ(run.result, -1);
    EXPECT_EQ(run.output, Lines{});
  }
  EXPECT_EQ(Outcome(Argv{"true", tooLong.c_str() + 1}).result, 0);
  EXPECT_EQ(Outcome(Argv{"true"}, true, "/no/such/directory").result, -1);
}

TEST(Process, StartsTheChildWhereAndWithWhatItIsTold) {
  EXPECT_EQ(Outcome(Argv{"pwd"}, true, "/usr").output, Lines{"/usr"});
  EXPECT_EQ(Outcome(Argv{"pwd"}, true, "").output, Lines{std::filesystem::current_path()});
  const ScratchDirectory scratch;  // a program that does not name its interpreter is the shell's
  const std::string plain = scratch.write("plain", "echo \"$1\"");
  std::filesystem::permissions(plain, std::filesystem::perms::owner_all);
  EXPECT_EQ(Outcome(Argv{plain.c_str(), "a b"}).output, Lines{"a b"});
  EXPECT_EQ(Outcome(Argv{"printf", "%s|", "", " a  b ", "$HOME", "'*'"}).output,
            Lines{"| a  b |$HOME|'*'|"});
}

// Neither what the host has buffered nor its exit handlers belong to a child, started or not.
TEST(Process, LeavesTheHostsStreamsAloneUnlessItCapturesBoth) {
  const ScratchDirectory scratch;
  const std::string file = scratch.path() + "/out";
  EXPECT_EQ(inFork([&] {
              if (freopen(file.c_str(), "w", stdout) == nullptr) return "nowhere to write";
              Process process;
              process.run({"echo", "text"}, true, nullptr, true, true, false, false, true);
              printf("buffered");
              atexit([] { printf("handler"); });
              const Outcome none(Argv{"no-such-program"});
              fflush(stdout);
              return process.outputLines.empty() ? "" : "lines were collected";
            }),
            "");
  EXPECT_EQ(readFile(file), "text\nbuffered");
}

TEST(Process, SurvivesClosedStandardDescriptors) {
  for (int mask = 0; mask < 8; ++mask) {
    const auto wrong = inFork([mask] {
      for (int fd = 0; fd < 3; ++fd) {
        if (mask & 1 << fd) close(fd);
      }
      close_range(3, ~0U, 0);
      const Outcome run("echo out; echo err >&2; exit 7");
      if (run.result != 7) return "the exit code";
      if (run.output != Lines{"out"} || run.errors != Lines{"err"}) return "what was collected";
      for (int fd = 0; fd < 3; ++fd) {
        if ((fcntl(fd, F_GETFD) == -1) != ((mask & 1 << fd) != 0)) return "the host's descriptors";
      }
      // The child has its three, and the one for looking; nothing of what the runner opened.
      const Outcome child(Argv{"ls", "/proc/self/fd"});
      return child.output.size() == (mask & 1 ? 3 : 4) ? "" : "the child's descriptors";
    });
    EXPECT_EQ(wrong, "") << "descriptors closed: " << mask;
  }
}

// A timer that interrupts, and a handler that reaps whatever has ended, as many hosts have one.
TEST(Process, SurvivesTheHostsSignals) {
  const std::pair<const char*, std::size_t> cases[] = {
      {"for i in 1 2 3; do head -c 100000 /dev/zero | tr '\\0' x; sleep 0.05; done; exit 3",
       300000},
      {"printf x; exec >&- 2>&-; sleep 0.05; exit 3", 1},
      {"printf x; exec >&-; sleep 0.05; head -c 200000 /dev/zero >&2 && exit 3", 1},
  };
  for (const int flags : {0, SA_RESTART}) {
    const auto wrong = inFork([flags, &cases] {
      static volatile sig_atomic_t reaped = 0;
      struct sigaction action = {};
      action.sa_flags = flags;
      action.sa_handler = [](int) {
        while (waitpid(-1, nullptr, WNOHANG) > 0) reaped = 1;
      };
      sigaction(SIGCHLD, &action, nullptr);
      action.sa_handler = [](int) {};
      sigaction(SIGALRM, &action, nullptr);
      const itimerval often = {{0, 3000}, {0, 3000}};
      setitimer(ITIMER_REAL, &often, nullptr);
      for (const auto& [script, bytes] : cases) {
        const Outcome run(script);
        if (run.result != 3 || run.output.size() != 1 || run.output[0].size() != bytes)
          return script;
      }
      for (int run = 0; run < 1000; ++run) {
        if (Outcome("exit 7").result != 7) return "the end of a child";
      }
      if (fork() == 0) _exit(0);  // one of the host's own
      while (!reaped) pause();
      return "";
    });
    EXPECT_EQ(wrong, "") << "flags " << flags;
  }
}

TEST(Process, EndsWithTheChildWhateverBecomesOfItsErrorStream) {
  // Grandchildren hold the error stream open, silent or writing without end.
  for (const char* held : {"sleep 20 >/dev/null & echo $!; exit 4",
                           "while :; do echo x; done >&2 & echo $! ; exec >&-; exit 4"}) {
    const auto start = std::chrono::steady_clock::now();
    const Outcome run(held);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10)) << held;
    EXPECT_EQ(run.result, 4) << held;
    ASSERT_EQ(run.output.size(), 1u);
    kill(std::stoi(run.output[0]), SIGKILL);
  }
  // But it waits for a grandchild that holds the output open.
  EXPECT_EQ(Outcome("(sleep 0.3; echo late) & exit 0").output, Lines{"late"});

  const clock_t before = clock();
  EXPECT_EQ(Outcome("exec 2>&-; sleep 1; echo x").output, Lines{"x"});
  EXPECT_LT(clock() - before, CLOCKS_PER_SEC / 20) << "busy while nothing arrives";
}

// A child that starts uses the host's memory, and a handler in it would change what is in there.
TEST(Process, RunsNoHandlerOfTheHostInTheChild) {
  const auto wrong = inFork([] {
    static volatile sig_atomic_t inHost = 0, inChild = 0;
    static const pid_t host = getpid();
    setpgid(0, 0);
    signal(SIGURG, [](int) { (getpid() == host ? inHost : inChild) = 1; });
    const pid_t sender = fork();
    if (sender == 0) {
      alarm(60);
      for (;;) kill(0, SIGURG);
    }
    for (int run = 0; run < 500; ++run) {
      if (Outcome(Argv{"/bin/true"}).result != 0) return "a run";
    }
    kill(sender, SIGKILL);
    return inHost && !inChild ? "" : "where the handler ran";
  });
  EXPECT_EQ(wrong, "");
}

// Where SIGCHLD is ignored, nobody can tell how a child ended: that is no success.
TEST(Process, ServesAHostThatIgnoresAndBlocksSignals) {
  const auto wrong = inFork([] {
    for (const int number : {SIGPIPE, SIGCHLD, SIGUSR1}) signal(number, SIG_IGN);
    sigset_t mask;
    sigfillset(&mask);
    sigdelset(&mask, SIGTERM);
    sigprocmask(SIG_SETMASK, &mask, nullptr);
    const Outcome run(Argv{"grep", "-E", "Sig(Blk|Ign)", "/proc/self/status"});
    const Outcome slow("exec >&- 2>&-; sleep 0.1; exit 7");
    if (run.result != -1 || slow.result != -1) return "the exit code";
    sigprocmask(SIG_SETMASK, nullptr, &mask);
    const auto has = [&run](std::size_t line, int number) {
      return (std::stoull(run.output.at(line).substr(7), nullptr, 16) >> (number - 1) & 1) != 0;
    };
    if (run.output.at(0) != "SigBlk:\t0000000000000000") return "what the child blocks";
    if (!has(1, SIGUSR1) || has(1, SIGPIPE) || has(1, SIGCHLD)) return "what the child ignores";
    for (const int number : {SIGPIPE, SIGCHLD, SIGUSR2, SIGTERM}) {
      if ((sigismember(&mask, number) == 0) != (number == SIGTERM)) return "what the host blocks";
    }
    return "";
  });
  EXPECT_EQ(wrong, "");
}

// Runs a child on a stack. Returns the result, and how many bytes have changed below its guard
// page.
std::pair<int, std::ptrdiff_t> runOnStack(std::size_t size, const Argv& argv) {
  constexpr std::size_t below = 1 << 20, guard = 1 << 12;
  char* const memory = static_cast<char*>(mmap(
      nullptr, below + guard + size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  std::fill_n(memory, below, 'x');
  mprotect(memory + below, guard, PROT_NONE);
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstack(&attributes, memory + below + guard, size);
  std::pair<int, const Argv*> run(0, &argv);
  const auto body = [](void* argument) -> void* {
    auto& [result, words] = *static_cast<decltype(run)*>(argument);
    result = Process().run(*words, true, nullptr, true, true, true, false, true);
    return nullptr;
  };
  pthread_t thread;
  EXPECT_EQ(pthread_create(&thread, &attributes, body, &run), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  const auto changes = std::count_if(memory, memory + below, [](char byte) { return byte != 'x'; });
  munmap(memory, below + guard + size);
  return {run.first, changes};
}

// The child that starts uses the host's memory.
TEST(Process, KeepsLongCommandLinesOffTheStack) {
  const ScratchDirectory scratch;
  const std::string client = scratch.write("client", "exit $(($# % 100))");  // the shell's to run
  std::filesystem::permissions(client, std::filesystem::perms::owner_all);
  const auto smallest = static_cast<std::size_t>(sysconf(_SC_THREAD_STACK_MIN));
  for (const std::size_t size : {smallest, 32 * smallest}) {
    for (const std::size_t count : {507, 4007, 100007}) {
      Argv argv(count + 1, "x");
      argv.front() = client.c_str();
      EXPECT_EQ(runOnStack(size, argv), std::make_pair(7, std::ptrdiff_t{0})) << count;
    }
  }
}

}  // namespace
