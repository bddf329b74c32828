// What the system can refuse, refused call by call to a library that a host has loaded. To the
// functions here the dynamic linker binds its calls; in the other tests they would blunt the
// sanitizers.
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <stdarg.h>

#include <cerrno>
#include <new>
#include <set>
#include <string_view>

#include "spawnProcess.h"
#include "support.h"

namespace {

// The call of `function` that counts `callsLeft` down to 0 fails.
struct Fault {
  std::string_view function;
  int callsLeft = 0;
} fault;

long allocations = 0;  // that nobody has freed yet

bool fails(std::string_view function, int error) {
  if (function != fault.function || --fault.callsLeft != 0) return false;
  errno = error;
  return true;
}

}  // namespace

// Inlined, malloc and free would look to the compiler like mismatches of new and delete.
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  void* memory = fails("new", ENOMEM) ? nullptr : std::malloc(size);
  if (memory != nullptr) ++allocations;
  return memory;
}

void* operator new(std::size_t size) {
  void* memory = operator new(size, std::nothrow);
  return memory != nullptr ? memory : throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
  if (memory != nullptr) --allocations;
  std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
  operator delete(memory);
}

#define SYSTEMS_OWN(name) reinterpret_cast<decltype(&name)>(dlsym(RTLD_NEXT, #name))
#define MAY_FAIL(type, name, parameters, arguments, failure, error) \
  type name parameters {                                            \
    static const auto own = SYSTEMS_OWN(name);                      \
    return fails(#name, error) ? failure : own arguments;           \
  }

extern "C" {
MAY_FAIL(int, pipe2, (int* ends, int flags) noexcept, (ends, flags), -1, EMFILE)
MAY_FAIL(int, poll, (pollfd * streams, nfds_t count, int time), (streams, count, time), -1, ENOMEM)
MAY_FAIL(ssize_t, read, (int fd, void* to, std::size_t size), (fd, to, size), -1, EIO)
MAY_FAIL(char*, mkdtemp, (char* name) noexcept, (name), nullptr, ENOSPC)
MAY_FAIL(FILE*, fopen, (const char* path, const char* mode), (path, mode), nullptr, ENOMEM)
MAY_FAIL(char*, fgets, (char* line, int size, FILE* file), (line, size, file), nullptr, EIO)
MAY_FAIL(int, fputs, (const char* text, FILE* file), (text, file), EOF, ENOSPC)
MAY_FAIL(int, fputc, (int character, FILE* file), (character, file), EOF, ENOSPC)

int fcntl(int fd, int command, ...) {
  static const auto own = SYSTEMS_OWN(fcntl);
  va_list arguments;
  va_start(arguments, command);
  const int argument = va_arg(arguments, int);
  va_end(arguments);
  return fails("fcntl", EMFILE) ? -1 : own(fd, command, argument);
}

int fclose(FILE* file) {
  static const auto own = SYSTEMS_OWN(fclose);
  const int result = own(file);
  return fails("fclose", ENOSPC) ? EOF : result;
}

int clone(int (*run)(void*), void* stack, int flags, void* argument, ...) noexcept {
  static const auto own = SYSTEMS_OWN(clone);
  return fails("clone", EAGAIN) ? -1 : own(run, stack, flags, argument);
}

pid_t waitpid(pid_t child, int* status, int options) {
  static const auto own = SYSTEMS_OWN(waitpid);
  const bool late = fails("waitpid", ECHILD);  // as if the host had been faster
  const pid_t ended = own(child, status, late ? 0 : options);
  if (late) errno = ECHILD;
  return late ? -1 : ended;
}
}

namespace {

// Longer than a string holds without memory of its own.
const std::string longName = "a-name-that-is-long-enough-to-need-memory";

// What a provider says of a file.
std::string statusOf(Interface& provider, const char* path) {
  bool controlled = false, edited = false, modified = false, outOfDate = false;
  const char *text = "", *working = "", *repository = "";
  provider.status(path, controlled, edited, modified, outOfDate, text, working, repository);
  return std::string(text) + ' ' + working + ' ' + repository + (edited ? " e" : "") +
         (modified ? " m" : "") + (outOfDate ? " o" : "");
}

struct Operation {
  const char* name;
  std::function<bool(Interface&)> run;
  // What holds after an exception, beside what holds after every fault.
  std::function<void(Interface&, const Lines& calls)> check = [](Interface&, const Lines&) {};
};

class Faults : public ProviderTest {
 protected:
  Faults() {
    for (const char* command : {"status", "editors", "rls", "add", "commit", "update", "edit",
                                "unedit", "import", "checkout", "login", "logout"}) {
      reply(command, 0, "", command + longName);
    }
    reply("status", 0, statusBlock("a.c", "Needs Merge", longName), "status" + longName);
    reply("status:a.c", 0, statusBlock("a.c", "Up-to-date", '2' + longName), "status" + longName);
    reply("editors", 0, "a.c\tme\tnow\there\t/w\n");
    // More than a pipe holds: a child that nobody reads from any more is not to be waited for.
    const std::string much(70000, '-');
    reply("rls", 0, "D/" + longName + "////\nD/b////\n" + much);
    reply("update:" + longName, 0, "contents\n");
    scratch.write("other/CVS/Repository", longName + '\n');
    scratch.write("new/" + longName, "");
    close(STDIN_FILENO);  // which makes more work for fcntl
  }
  ~Faults() override { EXPECT_EQ(open("/dev/null", O_RDONLY), STDIN_FILENO); }

  Interface* makeProvider() const {
    Interface* made = library.allocate();
    tie(*made);
    made->setOption("Environment/Source Code Control/CVSLoginRequired", "Yes");
    made->setOption("Environment/Source Code Control/CVSEditSupported", "Yes");
    return made;
  }

  // What an operation did for its result, without what it may leave undone.
  Lines deedsOf(const Lines& made) const {
    const std::set<std::string> optional = {"status", "editors", "-q", "logout"};
    Lines found = {readFile(destination)};
    std::filesystem::remove(destination);
    for (const std::string& call : made) {
      const std::size_t command = call.find("$ ") + 2;
      const std::string name = call.substr(command, call.find('|') - command);
      if (optional.count(name) != 0) continue;
      found.push_back(name == "import" ? call.substr(command) : call);
    }
    return found;
  }

  // Runs an operation on a provider of its own while one call fails, and again when none does.
  // Returns whether the operation came to that call.
  bool runWithFault(const Operation& operation, const Fault& planned, const Lines& wanted) {
    Interface* host = makeProvider();
    const int descriptors = countDescriptors();
    bool result = false, thrown = false;
    fault = planned;
    try {
      result = operation.run(*host);
    } catch (const std::bad_alloc&) {
      thrown = true;
    }
    const bool happened = fault.callsLeft <= 0;
    fault = {};
    EXPECT_TRUE(happened ? !thrown || planned.function == "new" : result);
    EXPECT_EQ(countDescriptors(), descriptors);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
    sigset_t held;
    sigprocmask(SIG_SETMASK, nullptr, &held);
    EXPECT_FALSE(sigismember(&held, SIGCHLD)) << "SIGCHLD stays blocked";
    const Lines made = takeCalls(), done = deedsOf(made);
    // Without poll the output is cut, and the client may succeed nonetheless.
    const bool mayBeCut = planned.function == "poll";
    EXPECT_TRUE(!result || mayBeCut || done == wanted) << ::testing::PrintToString(done);

    const std::string command = host->getLastErrorCommand(), text = host->getLastError();
    EXPECT_TRUE(text.empty() || text == command + longName) << command << ": " << text;
    const std::string local = host->getLocalRoot(), remote = host->getRemoteRoot();
    EXPECT_TRUE(remote.empty() || (local == other) == (remote == longName)) << local << remote;
    if (thrown) operation.check(*host, made);
    if (mayBeCut) host->refresh();  // forgets a status that was cut
    EXPECT_TRUE(operation.run(*host));
    library.release(host);
    deedsOf(takeCalls());
    return happened;
  }

  const Library library;
  const std::string destination = scratch.path() + "/to";
  const std::string other = scratch.path() + "/other";
};

TEST_F(Faults, FailOneCallAndLoseNothing) {
  // What was read stays, but for the marks of edits, whose client is the last of the commands.
  const auto keptWhatWasRead = [this](std::size_t commands) {
    return [this, commands](Interface& p, const Lines& made) {
      std::string found = statusOf(p, "src/a.c");
      const std::size_t mark = found.find(" e");
      if (made.size() == commands) {
        EXPECT_EQ(takeCalls(), Lines{});
        EXPECT_EQ(mark, found.npos);
        EXPECT_EQ(found[0], commands == 2 ? 'N' : 'U') << found;
      }
      if (mark != found.npos) found.erase(mark, 2);
      EXPECT_TRUE(found == "Needs Merge " + longName + " 1.1 m o" ||
                  found == "Up-to-date 2" + longName + " 1.1")
          << found;
    };
  };
  // What did not join takes nothing with it into the batch.
  const auto joinedNothing = [this](Interface& p, const Lines&) {
    EXPECT_TRUE(p.checkin("z", "Z") && p.postMulti());
    EXPECT_EQ(takeCalls().front(), ".$ commit|-m|Z|z");
  };
  // A batch whose command succeeded, and which was reading the status since, is closed.
  const auto ranOnce = [this](Interface& p, const Lines& made) {
    if (made.size() < 4) return;
    EXPECT_TRUE(p.postMulti());
    EXPECT_EQ(takeCalls(), Lines{});
  };
  const std::string new_ = scratch.path() + '/' + longName, deep = "new/" + longName;
  const char* const name = longName.c_str();
  const Operation operations[] = {
      {"login", [&](auto& p) { return p.login(name, name, root); }},
      {"logout", [&](auto& p) { return p.logout(); }},
      {"setRoots, existing",
       [&](auto& p) { return p.setRoots(scratch.path().c_str()) && p.setRoots(other.c_str()); }},
      {"setRoots, new", [&](auto& p) { return p.setRoots(new_.c_str(), name); }},
      {"setOption",
       [&](auto& p) { return p.setOption("Environment/Source Code Control/CVSRoot", root); }},
      {"status", [&](auto& p) { return p.refresh() && knows(p, "src/a.c"); }, keptWhatWasRead(2)},
      {"status, unknown", [&](auto& p) { return !knows(p, name); }},
      {"saved", [&](auto& p) { return knows(p, "src/a.c"), p.saved("src/a.c"); },
       keptWhatWasRead(4)},
      {"addFile", [&](auto& p) { return p.addFile(deep.c_str(), name); }},
      {"getFile", [&](auto& p) { return p.getFile(name, false); }},
      {"getTo", [&](auto& p) { return p.getTo(name, "1.1", destination.c_str()); }},
      {"checkout",
       [&](auto& p) { return p.refresh() && knows(p, "a.c") && p.checkout("a.c", name, true); }},
      {"undoCheckout", [&](auto& p) { return p.undoCheckout(name, true); }},
      {"checkin", [&](auto& p) { return p.checkin(name, name); }},
      {"iterateRemoteDirectory",
       [&](auto& p) { return p.iterateRemoteDirectory(name, true) == 2; }},
      {"createDirectory", [&](auto& p) { return p.createDirectory(name, name); }},
      {"checkin, joining", [&](auto& p) { return p.preMulti(), p.checkin(name, name); },
       joinedNothing},
      {"getFile, joining", [&](auto& p) { return p.preMulti(), p.getFile(name, false); },
       joinedNothing},
      {"addFile, joining", [&](auto& p) { return p.preMulti(), p.addFile(name, name); },
       joinedNothing},
      {"postMulti",
       [&](auto& p) {
         return p.preMulti(), knows(p, "src/a.c") && p.checkin("src/a.c", "A") && p.postMulti();
       },
       ranOnce},
  };
  const char* const functions[] = {"new",   "clone",   "pipe2",  "fcntl", "poll",
                                   "read",  "waitpid", "fopen",  "fgets", "fputs",
                                   "fputc", "fclose",  "mkdtemp"};
  std::set<std::string_view> untried(std::begin(functions), std::end(functions));
  for (const Operation& operation : operations) {
    SCOPED_TRACE(operation.name);
    Interface* host = makeProvider();
    EXPECT_TRUE(operation.run(*host));
    const Lines wanted = deedsOf(takeCalls());
    library.release(host);
    for (const char* function : functions) {
      SCOPED_TRACE(function);
      long before = allocations;
      for (int at = 1; runWithFault(operation, {function, at}, wanted); ++at) {
        EXPECT_EQ(allocations, before);
        untried.erase(function);
        before = allocations;
      }
    }
  }
  EXPECT_EQ(untried, std::set<std::string_view>()) << "the library calls others than these";
}

TEST_F(Faults, AreToldWhereNoClientTellsThem) {
  fault = {"new", 1};
  EXPECT_EQ(library.allocate(), nullptr);
  EXPECT_TRUE(provider.checkin("a", "m"));
  fault = {"mkdtemp", 1};
  EXPECT_FALSE(provider.createDirectory("p", "n"));
  EXPECT_STREQ(provider.getLastErrorCommand(), "import");
  EXPECT_STREQ(provider.getLastError(), "");
}

TEST(Process, LooksTenTimesForTheEndOfAChildItDoesNotWaitFor) {
  fault = {"waitpid", 100};
  EXPECT_EQ(Process().run({"sleep", "0.1"}, false, nullptr, true, false, false, false, true), 0);
  EXPECT_EQ(std::exchange(fault, {}).callsLeft, 90);
  EXPECT_GT(waitpid(-1, nullptr, 0), 0);
}

}  // namespace
