// What the tests share.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "cvs.h"

using Lines = std::vector<std::string>;
using Interface = SourceCodeControlSystemProviderInterface;

inline std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream contents;
  contents << file.rdbuf();
  return contents.str();
}

// A directory that goes when the test does.
class ScratchDirectory {
 public:
  ScratchDirectory() {
    path_ = (std::filesystem::temp_directory_path() / "cvsproviderXXXXXX").string();
    if (mkdtemp(path_.data()) == nullptr) std::abort();
  }
  ~ScratchDirectory() { std::filesystem::remove_all(path_); }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  const std::string& path() const { return path_; }

  // Writes a file, making the directories above it; returns its path.
  std::string write(const std::string& name, const std::string& contents) const {
    const std::filesystem::path file = std::filesystem::path(path_) / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << contents;
    return file.string();
  }

 private:
  std::string path_;
};

inline int countDescriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return static_cast<int>(std::distance(begin(all), end(all)));
}

// Runs a body in a process of its own, for at most a minute. Returns what the body found wrong.
inline std::string inFork(const std::function<const char*()>& body) {
  constexpr std::size_t size = 200;
  void* shared = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  char* const reason = static_cast<char*>(shared);
  const pid_t child = fork();
  if (child == 0) {
    alarm(60);
    std::snprintf(reason, size, "%s", body());
    _exit(0);
  }
  int status = -1;
  waitpid(child, &status, 0);
  std::string found = status == 0 ? reason : "it did not come to its end";
  munmap(shared, size);
  return found;
}

// The library as a host loads it.
class Library {
 public:
  Library() { EXPECT_NE(handle_, nullptr) << dlerror(); }
  ~Library() { dlclose(handle_); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  Interface* allocate() const {
    return find<decltype(AllocateSourceCodeControlSystemInterface)>(
        "AllocateSourceCodeControlSystemInterface")();
  }
  void release(Interface* provider) const {
    find<decltype(ReleaseSourceCodeControlSystemInterface)>(
        "ReleaseSourceCodeControlSystemInterface")(provider);
  }

 private:
  template <typename Function>
  Function* find(const char* name) const {
    return reinterpret_cast<Function*>(dlsym(handle_, name));
  }

  void* handle_ = dlopen(PROVIDER_LIBRARY, RTLD_NOW | RTLD_LOCAL);
};

// A provider tied to a working copy of lib/proj, and the stand-in client that it runs.
class ProviderTest : public ::testing::Test {
 protected:
  static constexpr char root[] = "/repo";

  ProviderTest() {
    setenv("STAND_IN", replies.path().c_str(), 1);
    scratch.write("CVS/Repository", "lib/proj\n");
    scratch.write("src/CVS/Repository", "lib/proj/src\n");
    tie(provider);
  }

  void tie(Interface& fresh) const {
    fresh.setOption("Environment/Source Code Control/CVSExecutable", STAND_IN_CLIENT);
    fresh.setOption("Environment/Source Code Control/CVSRoot", root);
    EXPECT_TRUE(fresh.setRoots(scratch.path().c_str()));
  }

  bool set(const std::string& key, const std::string& value) {
    return provider.setOption(("Environment/Source Code Control/" + key).c_str(), value.c_str());
  }

  // Prepares what the client does when called with a command, or with COMMAND:LAST-ARGUMENT.
  void reply(const std::string& key, int exit, const std::string& out = "",
             const std::string& err = "") const {
    replies.write(key + ".exit", std::to_string(exit));
    replies.write(key + ".out", out);
    replies.write(key + ".err", err);
  }

  // How the client was called since the last time, as "DIRECTORY$ COMMAND|ARGUMENT...", seen from
  // the working copy, or "host$ ..." in the host's own directory. Each call's begin is checked.
  Lines takeCalls() const {
    const std::string log = replies.path() + "/calls";
    Lines found;
    std::istringstream text(readFile(log));
    std::filesystem::remove(log);
    for (std::string call; std::getline(text, call, '\0');) {
      const std::size_t bar = call.find('|');
      const std::string begin = std::string("|-d|") + root + '|';
      EXPECT_EQ(call.compare(bar, begin.size(), begin), 0) << call;
      std::string directory = call.substr(0, bar);
      if (directory == std::filesystem::current_path()) directory = "host";
      if (directory.rfind(scratch.path(), 0) == 0) {
        directory = '.' + directory.substr(scratch.path().size());
      }
      found.push_back(directory + "$ " + call.substr(bar + begin.size()));
    }
    return found;
  }

  // Asks for a status, and returns whether there is one.
  bool known(const char* path) { return knows(provider, path); }
  static bool knows(Interface& asked, const char* path) {
    bool flag;
    const char* text;
    return asked.status(path, flag, flag, flag, flag, text, text, text);
  }

  ScratchDirectory scratch;
  ScratchDirectory replies;
  CVSInterface provider;
};

// A block of the client's status output.
inline std::string statusBlock(const std::string& name, const std::string& status,
                               const std::string& working = "1.1",
                               const std::string& repository = "1.1") {
  return std::string(67, '=') + "\nFile: " + name + "\tStatus: " + status +
         "\n\n   Working revision:\t" + working + "\tMon Mar  3 10:00:00 2003\n" +
         "   Repository revision:\t" + repository + "\t/repo/" + name +
         ",v\n   Sticky Tag:\t\t(none)\n   Sticky Date:\t\t(none)\n   Sticky Options:\t(none)\n\n";
}
