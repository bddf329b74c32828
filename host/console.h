#pragma once

#include <cstddef>
#include <string>
#include <vector>

// What the program says, and how it ends.

constexpr int exitSuccess = 0;
constexpr int exitFailure = 1;  // an operation failed, or something is left to do
constexpr int exitUsage = 2;    // the command line or a script makes no sense
constexpr int exitTrouble = 2;  // of diff, as diff(1) ends

// Writes one line about what was done to the standard output.
void say(const std::string& line);

// Writes one sentence about what went wrong to the standard error.
void complain(const std::string& sentence);

// Writes a line of the client's own words to the standard error.
void passOn(const std::string& words);

// The text in a form that is safe for a terminal: control characters become "?".
std::string printable(std::string text);

// A file's name as part of a line: on a terminal control characters become "?"; elsewhere a name
// that would not stay on its line is written as `run` reads it back.
std::string shown(const std::string& name);

// Complaints about files.
class Complaints {
 public:
  // Does nothing when there is no reason to complain. Neighbours that share the client's words are
  // reported together.
  void add(const std::string& path, const std::string& reason);
  // Adds a file that the user has to look at by itself.
  void addOne(const std::string& path, const std::string& reason);
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
