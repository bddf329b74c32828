#pragma once

#include <list>

// Runs one program as a child of the host and collects what it writes as lines of text. Which
// program, where, and what its output and exit status mean is for the caller to know.
//
// The runner lives inside a process that is not its own: it installs no signal handler, changes no
// state of the process, waits for no child but the one it started, and leaves no descriptor behind.
// While its child runs, the calling thread receives no SIGCHLD.
class Process {
 public:
  Process() = default;
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  // Runs the program argv.front(), looked up through the search path when it holds no "/", with
  // the arguments that follow, each passed unchanged. Called once per object. The child shares the
  // host's standard input, environment and other inheritable descriptors, and blocks no signal.
  //   wait         Block until the child has ended. Otherwise look for its end for about ten
  //                milliseconds; a child that still runs then is left to the host.
  //   directory    Where the child starts; null or empty for the host's current directory.
  //   captureOutput, captureErrors
  //                Both: collect the two streams, which takes until the child has closed its
  //                standard output. Otherwise the child writes to the host's own.
  //   The unnamed flags change nothing.
  // Returns the child's exit status as a signed 8-bit value, or -1 when the list is empty, the
  // child could not be created, could not enter the directory, could not start the program, was
  // ended by a signal or was reaped by somebody else; without waiting, 0 when no end was seen.
  // Lines read before a failure are kept. Throws nothing but std::bad_alloc, with the child reaped.
  int run(std::list<const char*> argv, bool wait, const char* directory, bool, bool captureOutput,
          bool captureErrors, bool, bool);

  // The lines of each stream in the order written, without terminators (LF, CR or CR LF), empty
  // ones kept. A line is NUL-terminated: one that holds a NUL byte ends there. The characters live
  // in the buffer of the stream and last as long as this object.
  std::list<const char*> outputLines;
  std::list<const char*> errorLines;

  // All bytes of each stream, owned by this object (new[]); null when nothing was read.
  char* outputBuffer = nullptr;
  char* errorBuffer = nullptr;
};
