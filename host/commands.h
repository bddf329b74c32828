#pragma once

#include <algorithm>
#include <cstdio>

#include "commandLine.h"
#include "provider.h"
#include "workingCopy.h"

// What a command works on.
struct Job {
  const CommandLine& line;
  const Session& session;
  Provider& provider;  // tied to the working copy if the command takes files
  std::FILE* input;    // the standard input, or null if it was closed
  Paths paths;         // its files, relative to the working copy, as the provider takes them

  // Whether the user has named that path itself.
  bool names(const std::string& path) const {
    return std::find(paths.begin(), paths.end(), path) != paths.end();
  }
};

// The program's commands. Each reports its failures and returns the exit status.
int showStatus(Job& job);
int showDifferences(Job& job);
int addFiles(Job& job);
int commitFiles(Job& job);
int updateFiles(Job& job);
int printRevision(Job& job);
int editFiles(Job& job);
int uneditFiles(Job& job);
int listDirectory(Job& job);
int makeDirectory(Job& job);
int checkOut(Job& job);
int logIn(Job& job);
int logOut(Job& job);
int runScript(Job& job);
