#pragma once

#include <cstdio>
#include <optional>
#include <string>

// Lines of text from a file it owns.
class LineReader {
 public:
  explicit LineReader(std::FILE* file) : file_(file) {}
  ~LineReader();
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  // Whether there is a file to read at all.
  bool isOpen() const { return file_ != nullptr; }
  int descriptor() const { return fileno(file_); }

  // The next line, without its end; none at the end of the file.
  std::optional<std::string> readLine();

 private:
  std::FILE* file_;
};

// Takes the standard input away from every client started from here on, which get an empty one:
// else a client that reads it would swallow lines of a script. Returns what it was, closed when it
// was closed; to be called once, before anything reads it.
std::FILE* takeStandardInput();

// Asks for a password on the terminal that `input` is, unseen and interrupted by the usual keys,
// or reads a line of it when it is none. None when the input has ended.
std::optional<std::string> readPassword(LineReader& input, const std::string& prompt);
