#pragma once

#include <optional>
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

// The client to run, and the adapter that gives the stock client the options it lacks.
struct Client {
  std::string program;  // a name on the search path, or an absolute path
  std::string adapter;  // the same; empty when there is none, or the user has named a client
};

// The client the user has named, else the one in CVS_GNU_CLIENT, else cvs. None after a failure,
// which has been reported.
std::optional<Client> findClient(const Settings& settings);

// The repository the user has named, else the one the working copy records, else CVSROOT. None
// after a failure, which has been reported.
std::optional<std::string> findRoot(const Settings& settings);

// The provider's library: the one the user has named, else the one beside this program, else the
// installed one.
std::string findLibrary(const Settings& settings);
