#pragma once

#include <cstdio>
#include <memory>
#include <string>

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePointer = std::unique_ptr<std::FILE, CloseFile>;

// Reads the next line, without its end. False at the end of the file, and without a file.
bool readLine(std::FILE* file, std::string& line);

// Gives every client that is started later an empty standard input: a client that read ours would
// take lines of a script. Returns the former standard input, or null if it was closed. Call it
// once, before anything reads.
FilePointer takeStandardInput();
