#pragma once

#include <cstddef>
#include <string>
#include <vector>

// What the program says, and how it ends.

constexpr int exitSuccess = 0;
constexpr int exitFailure = 1;  // an operation failed
constexpr int exitUsage = 2;    // the command line or a script makes no sense

// Writes one sentence about what went wrong to the standard error.
void complain(const std::string& sentence);

// Writes a line of the client's own words to the standard error.
void passOn(const std::string& words);

// Files with which something went wrong. Neighbours with the same words are reported together.
class Troubles {
 public:
  // Does nothing when there are no words.
  void add(const std::string& path, const std::string& words);
  // Complains about them and returns the exit status.
  int report() const;

 private:
  struct Trouble {
    std::string path;
    std::string words;
    std::size_t files;
  };
  std::vector<Trouble> troubles_;
};

// Writes one line about what was done to the standard output.
void say(const std::string& line);

// The text in a form that is safe for a terminal: control characters, which a file's name may hold,
// become "?".
std::string printable(std::string text);

// Whether a descriptor is a terminal that understands more than plain text.
bool isCapableTerminal(int descriptor);

// Whether it also may show colour.
bool isColourTerminal(int descriptor);
