#pragma once

#include <string>

// What the user has said about the provider; an empty text where the user has said nothing.
struct Settings {
  std::string directory = ".";  // the working copy
  std::string client;
  std::string root;
  std::string library;
  bool edit = false;  // track announced edits
};

// What a provider is told before it is used.
struct Configuration {
  std::string client;
  std::string root;
  bool edit = false;
  bool login = false;  // login and logout run the client
};

// The client to run: the one the user has named, else the one in CVS_GNU_CLIENT, else cvs. A name
// for the search path, or an absolute path: clients start in directories of the working copy.
std::string findClient(const Settings& settings);

// Whether there is such a program.
bool canRun(const std::string& client);

// The adapter that gives the stock client the options it lacks: the one beside this program. Empty
// when there is none, or the user has named a client.
std::string findAdapter(const Settings& settings);

// The repository the user has named, else the one the working copy records, else CVSROOT; empty
// when nobody says.
std::string findRoot(const Settings& settings);

// The provider's library: the one the user has named, else the one beside this program, else the
// installed one.
std::string findLibrary(const Settings& settings);
