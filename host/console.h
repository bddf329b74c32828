#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

#include "files.h"

// What the program reads and says, and how it ends.

constexpr int exitSuccess = 0;
constexpr int exitFailure = 1;  // an operation failed, or something is left to do
constexpr int exitUsage = 2;    // the command line or a script makes no sense
constexpr int exitTrouble = 2;  // of diff, as diff(1) ends

// Writes one line about what was done to the standard output.
void say(const std::string& line);

// Writes one sentence about what went wrong to the standard error.
void complain(const std::string& sentence);

// The same, for a command that ends with it; returns the exit status.
int fail(const std::string& sentence);

// Writes a line of the client's own words to the standard error.
void passOn(const std::string& words);

// The text in a form that is safe for a terminal: control characters become "?", but for some.
std::string printable(std::string text, const std::string& except = "");

// A file's name as part of a line: on a terminal control characters become "?"; elsewhere a name
// that would not stay on its line is written as `run` reads it back.
std::string shown(const std::string& name);

// Complaints about files.
class Complaints {
 public:
  // Does nothing when there is no reason to complain. Neighbours with the same reason are reported
  // together, unless each has to be looked at by itself.
  void add(const std::string& path, const std::string& reason, bool byItself = false);
  // Writes them and returns the exit status.
  int report() const;

 private:
  struct Complaint {
    std::string path;
    std::string reason;
    std::size_t files;
  };
  std::vector<Complaint> complaints_;
};

// Whether a descriptor is a terminal that understands more than plain text.
bool isCapableTerminal(int descriptor);

// Whether it also may show colour.
bool isColourTerminal(int descriptor);

// Reads the next line, without its end. False at the end of the file, and without a file.
bool readLine(std::FILE* file, std::string& line);

// Returns the standard input, or null if it was closed; call it once, before anything reads.
// Clients that are started later have an empty one: they would take lines of a script.
FilePointer takeStandardInput();
