#pragma once

#include <string>

// Short-lived files of a command, in the system's temporary directory and for this user alone. Both
// constructors throw std::system_error on failure.

class TemporaryFile {
 public:
  TemporaryFile();
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// The destructor removes it with everything in it.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};
