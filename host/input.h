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

// Gives every client that is started later an empty standard input: a client that read ours would
// take lines of a script. Returns the former standard input, or null if it was closed. Call it
// once, before anything reads.
std::FILE* takeStandardInput();
