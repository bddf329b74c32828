#include "spawnProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr int failed = -1;
constexpr int failedExitStatus = 255;  // of a child that could not start the program
constexpr std::size_t readSize = 1024;
constexpr int pollMilliseconds = 100;
constexpr short hungUp = POLLERR | POLLHUP | POLLNVAL;

// The chunks read from one stream, in order: byte counts, and arrays of exactly that many bytes.
using BufferList = std::list<std::pair<std::uint32_t, std::unique_ptr<char[]>>>;

// Calls a system function again for as long as one of the host's signals interrupts it.
template <typename Function>
auto retryInterrupted(Function function) {
  auto result = function();
  while (result == -1 && errno == EINTR) result = function();
  return result;
}

// Owns one file descriptor, or none (-1).
class Descriptor {
 public:
  Descriptor() = default;
  ~Descriptor() { close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const { return descriptor_; }
  void reset(int descriptor) {
    close();
    descriptor_ = descriptor;
  }
  void close() {
    if (descriptor_ != -1) ::close(descriptor_);
    descriptor_ = -1;
  }

 private:
  int descriptor_ = -1;
};

// A pipe for one of the child's streams. Its ends close on exec, so that no other child of the host
// can hold them open, and lie above the standard descriptors, which a host may have closed.
struct Pipe {
  Descriptor readEnd;
  Descriptor writeEnd;

  bool open() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) == -1) return false;
    readEnd.reset(ends[0]);
    writeEnd.reset(ends[1]);
    return moveUp(readEnd) && moveUp(writeEnd) &&
           fcntl(readEnd.get(), F_SETFL, O_RDONLY | O_NONBLOCK) != -1;
  }

 private:
  static bool moveUp(Descriptor& end) {
    if (end.get() > STDERR_FILENO) return true;
    end.reset(fcntl(end.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    return end.get() != -1;
  }
};

// Reads once, and returns whether that succeeded. The end of the stream gives a chunk of no bytes.
bool readFromProcess(int fd, BufferList& chunks) {
  char buffer[readSize];
  const ssize_t count = retryInterrupted([&] { return read(fd, buffer, sizeof buffer); });
  if (count < 0) return false;
  const auto size = static_cast<std::uint32_t>(count);
  std::unique_ptr<char[]> bytes(new char[size]);
  std::memcpy(bytes.get(), buffer, size);
  chunks.emplace_back(size, std::move(bytes));
  return true;
}

// Reads until nothing is ready, the stream has ended, or `mostReads` reads are done.
void readWhatIsReady(int fd, BufferList& chunks, int mostReads) {
  while (mostReads-- > 0 && readFromProcess(fd, chunks) && chunks.back().first != 0) {
  }
}

// Joins the chunks into one array, freeing each once copied, cuts it in place into NUL-terminated
// lines appended to `lines`, and returns the array; null when there was nothing.
std::unique_ptr<char[]> bufferListToStringList(BufferList& chunks, std::list<const char*>& lines) {
  std::size_t total = 0;
  for (const auto& chunk : chunks) total += chunk.first;
  if (total == 0) {
    chunks.clear();
    return nullptr;
  }
  if (total > std::string().max_size()) throw std::bad_alloc();  // the caller could not copy it

  std::unique_ptr<char[]> joined(new char[total + 1]);
  char* end = joined.get();
  for (; !chunks.empty(); chunks.pop_front()) {
    end = std::copy_n(chunks.front().second.get(), chunks.front().first, end);
  }
  *end = '\0';

  const auto find = [end](char* from, char wanted) {
    void* found = std::memchr(from, wanted, static_cast<std::size_t>(end - from));
    return found == nullptr ? end : static_cast<char*>(found);
  };
  std::list<const char*> cut;
  char* carriageReturn = find(joined.get(), '\r');  // the next one, looked for again when passed
  for (char* line = joined.get(); line < end;) {
    if (carriageReturn < line) carriageReturn = find(line, '\r');
    char* const terminator = std::min(find(line, '\n'), carriageReturn);
    const bool pair = terminator[0] == '\r' && terminator[1] == '\n';
    *terminator = '\0';
    cut.push_back(line);
    line = terminator + (pair ? 2 : 1);
  }
  lines.splice(lines.end(), cut);
  return joined;
}

// Collects both streams until the output hangs up. The error stream may end earlier. It may also
// stay open later, in a grandchild: nobody waits for that.
void collect(int output, int errors, BufferList& outputChunks, BufferList& errorChunks) {
  constexpr int passReads = 64;    // per pass, so that neither stream waits long for the other
  constexpr int pipeReads = 1024;  // at the end: more than a pipe holds
  pollfd streams[] = {{output, POLLIN, 0}, {errors, POLLIN, 0}};
  bool open = true;
  while (open) {
    if (retryInterrupted([&] { return poll(streams, 2, pollMilliseconds); }) == -1) return;
    if (streams[0].revents & POLLIN) readWhatIsReady(output, outputChunks, passReads);
    if (streams[1].revents & POLLIN) {
      readWhatIsReady(errors, errorChunks, passReads);
    } else if (streams[1].revents & hungUp) {
      streams[1].fd = -1;  // poll would return at once, again and again
    }
    open = (streams[0].revents & hungUp) == 0;
  }
  readWhatIsReady(output, outputChunks, std::numeric_limits<int>::max());
  readWhatIsReady(errors, errorChunks, pipeReads);
}

// Holds one signal of this thread back while it lives, or all of them.
class HeldSignals {
 public:
  static constexpr int all = 0;

  explicit HeldSignals(int number) {
    sigset_t signals;
    sigemptyset(&signals);
    number == all ? sigfillset(&signals) : sigaddset(&signals, number);
    pthread_sigmask(SIG_BLOCK, &signals, &before_);
  }
  ~HeldSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  HeldSignals(const HeldSignals&) = delete;
  HeldSignals& operator=(const HeldSignals&) = delete;

 private:
  sigset_t before_;
};

// Gives the program what programs expect: no handler of the host's, no signal blocked, and SIGCHLD
// and SIGPIPE not ignored.
void restoreSignals() {
  for (int number = 1; number < NSIG; ++number) {
    struct sigaction action;
    if (sigaction(number, nullptr, &action) == -1 || action.sa_handler == SIG_DFL) continue;
    if (action.sa_handler == SIG_IGN && number != SIGCHLD && number != SIGPIPE) continue;
    action = {};
    action.sa_handler = SIG_DFL;
    sigaction(number, &action, nullptr);
  }
  sigset_t none;
  sigemptyset(&none);
  pthread_sigmask(SIG_SETMASK, &none, nullptr);
}

// What a child is to become. The descriptors are -1 when it keeps the host's streams.
struct Program {
  char* const* arguments;
  const char* directory;  // null or empty for the host's current one
  int output, errors;
};

// Turns the child into the program. Returns the exit status of a child that cannot start: it ends
// without running an exit handler of the host's, and without writing the host's buffered text.
int becomeProgram(void* start) {
  const auto& [arguments, directory, output, errors] = *static_cast<Program*>(start);
  restoreSignals();
  const bool connected =
      output == -1 || (dup2(output, STDOUT_FILENO) != -1 && dup2(errors, STDERR_FILENO) != -1);
  const bool entered = directory == nullptr || *directory == '\0' || chdir(directory) == 0;
  if (connected && entered) execvp(arguments[0], arguments);
  return failedExitStatus;
}

// Starts a child that becomes the program, which has so many arguments. Returns its process id, or
// -1.
//
// The child uses the memory of the host, as after vfork, and this thread stands still until the
// program has started: fork would copy the page tables, which takes longer than a command where the
// host is large. Only async-signal-safe calls are allowed there, and no handler of the host's may
// run. The stack is the child's own: for a program without "#!", which is the shell's to run,
// execvp copies all arguments to it. posix_spawn does the same, but refuses such a program.
pid_t startProgram(Program program, std::size_t count) {
  constexpr std::size_t forCalls = 64 << 10;
  using Unit = std::max_align_t;
  const std::size_t units = (forCalls + count * sizeof(char*)) / sizeof(Unit);
  const std::unique_ptr<Unit[]> stack(new Unit[units]);
  const HeldSignals held(HeldSignals::all);
#ifdef __SANITIZE_THREAD__
  constexpr int memory = 0;  // its runtime takes every child for one with a copy
#else
  constexpr int memory = CLONE_VM;
#endif
  return clone(becomeProgram, stack.get() + units, memory | CLONE_VFORK | SIGCHLD, &program);
}

// Owns a child, or none (-1), and reaps it in the destructor at the latest.
class Child {
 public:
  Child() = default;
  ~Child() { reap(0); }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  // Takes over what startProgram returned, and returns whether that is a child.
  bool adopt(pid_t id) {
    id_ = id;
    return id != -1;
  }

  // Reaps the child if it has ended; waits for the end unless `options` is WNOHANG. Returns false
  // while the child runs. A child that somebody else has reaped counts as reaped.
  bool reap(int options) {
    if (id_ == -1) return true;
    int status = 0;
    const pid_t reaped = retryInterrupted([&] { return waitpid(id_, &status, options); });
    if (reaped == 0) return false;
    if (reaped == id_ && WIFEXITED(status)) {
      exitStatus_ = static_cast<std::int8_t>(WEXITSTATUS(status));
    }
    id_ = -1;
    return true;
  }

  // Leaves a child that still runs to the host.
  void release() { id_ = -1; }

  // None while the child runs, when a signal ended it, and when somebody else has reaped it.
  std::optional<int> exitStatus() const { return exitStatus_; }

 private:
  pid_t id_ = -1;
  std::optional<int> exitStatus_;
};

// Reads and drops the error stream until everybody has closed it or the child has ended: a full
// pipe would block the child.
void dropErrors(Child& child, Descriptor& errors) {
  pollfd stream = {errors.get(), POLLIN, 0};
  int milliseconds = 1;  // short at first: mostly the child has ended, or is about to
  while (errors.get() != -1) {
    const int ready = poll(&stream, 1, milliseconds);
    char dropped[readSize];
    const ssize_t count = ready > 0 ? read(errors.get(), dropped, sizeof dropped) : ready;
    const bool streamEnded = ready > 0 && count == 0;
    const bool isBroken = count == -1 && errno != EINTR && errno != EAGAIN;
    const bool childEnded = child.reap(WNOHANG);
    if (streamEnded || isBroken || childEnded) errors.close();
    milliseconds = std::min(2 * milliseconds, pollMilliseconds);
  }
}

int waitForEnd(Child& child, Descriptor& errors) {
  dropErrors(child, errors);
  child.reap(0);
  return child.exitStatus().value_or(failed);
}

// Looks for the end of a child that nobody waits for. Returns 0 when it sees none, and also when a
// signal ended the child.
int lookForEnd(Child& child) {
  constexpr int checks = 10;
  constexpr int microseconds = 1000;
  for (int check = 1; !child.reap(WNOHANG) && check < checks; ++check) usleep(microseconds);
  child.release();
  return child.exitStatus().value_or(0);
}

}  // namespace

Process::~Process() {
  delete[] outputBuffer;
  delete[] errorBuffer;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the signature is the callers'
int Process::run(std::list<const char*> argv, bool wait, const char* directory, bool,
                 bool captureOutput, bool captureErrors, bool, bool) {
  if (argv.empty()) return failed;
  // A host that reaps every child on SIGCHLD would take the end of this one away.
  const HeldSignals held(SIGCHLD);
  Child child;  // destroyed after the pipes are closed: the child could block on them
  const bool capturing = captureOutput && captureErrors;
  Pipe output, errors;
  if (capturing && !(output.open() && errors.open())) return failed;

  std::vector<char*> arguments;
  for (const char* argument : argv) arguments.push_back(const_cast<char*>(argument));
  arguments.push_back(nullptr);

  const Program program = {arguments.data(), directory, output.writeEnd.get(),
                           errors.writeEnd.get()};
  if (!child.adopt(startProgram(program, arguments.size()))) return failed;
  if (capturing) {
    output.writeEnd.close();
    errors.writeEnd.close();
    BufferList outputChunks, errorChunks;
    collect(output.readEnd.get(), errors.readEnd.get(), outputChunks, errorChunks);
    outputBuffer = bufferListToStringList(outputChunks, outputLines).release();
    errorBuffer = bufferListToStringList(errorChunks, errorLines).release();
    output.readEnd.close();
  }
  return wait ? waitForEnd(child, errors.readEnd) : lookForEnd(child);
}
