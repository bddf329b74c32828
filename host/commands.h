#pragma once

#include <string>
#include <vector>

#include "commandLine.h"
#include "input.h"
#include "provider.h"

using Paths = std::vector<std::string>;

// What a command works on.
struct Job {
  const CommandLine& line;
  const Session& session;
  Provider& provider;  // tied to the working copy if the command takes files
  LineReader& input;
  Paths paths;  // its files, relative to the working copy, as the provider takes them; each once
};

// The program's commands. Each reports its failures and returns the exit status.

// Shows the files, and for a directory every file below it.
int showStatus(Job& job);
// Shows how files differ from the revisions they are based on. Returns as diff does: 1 for
// differences, 2 for trouble.
int showDifferences(Job& job);

// Several files reach the client as one command.
int addFiles(Job& job);
int commitFiles(Job& job);
int updateFiles(Job& job);
int revertFiles(Job& job);

int editFiles(Job& job);
// Withdraws edits one at a time, unless that would discard changes.
int uneditFiles(Job& job);

int printRevision(Job& job);

int listDirectory(Job& job);
int makeDirectory(Job& job);
int checkOut(Job& job);

// Asks for the password on a terminal, and reads it from the input elsewhere.
int logIn(Job& job);
int logOut(Job& job);

// Runs a script of operations by the interface's own names.
int runScript(Job& job);
