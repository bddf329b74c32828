#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "SourceCodeControlSystemProviderInterface.h"

class Process;

// What the client said of one file.
struct CVSFileStatus {
  bool modified = false;           // the working file carries local changes
  bool outOfDate = false;          // the repository holds a newer revision
  bool edited = false;             // somebody has announced an edit
  std::string statusText;          // the client's own, such as "Needs Merge"
  std::string workingRevision;     // the one the working file is based on
  std::string repositoryRevision;  // the newest one
};

// The files of one directory, by their names inside it. A name can be looked up without a copy.
using FileStatusMap = std::map<std::string, CVSFileStatus, std::less<>>;

// Cuts the next token, a maximal run of characters not in `delimiters`, off the front of `text`.
// Returns an empty view at the end.
std::string_view takeToken(std::string_view& text, std::string_view delimiters);

// Appends the tokens of `text` to `out`. A null text has none.
void splitString(const char* text, const char* delimiters, std::vector<std::string>& out);

// Copies a string that the host passes; a null pointer gives nothing. Every operation copies its
// strings before it does anything else: the operation may change one that is the provider's own.
std::optional<std::string> copyArgument(const char* argument);

// Whether the administrative file of a working-copy directory can be read.
bool isWorkingCopy(const std::string& directory);

// The provider. It holds the host's settings, the status it has read and the pending batch. An
// operation that needs the repository runs one or more commands of the external client, one at a
// time. Nothing stays open between two calls. SourceCodeControlSystemProviderInterface describes
// the operations.
class CVSInterface : public SourceCodeControlSystemProviderInterface {
 public:
  CVSInterface() = default;
  virtual ~CVSInterface();
  CVSInterface(const CVSInterface&) = delete;
  CVSInterface& operator=(const CVSInterface&) = delete;

  bool setOption(const char* key, const char* value) override;
  int iterateRepositoryList() override;
  const char* getRepositoryListEntry() override;
  bool login(const char* user, const char* pass, const char* root) override;
  bool logout() override;
  bool setRoots(const char* local) override;
  bool setRoots(const char* local, const char* remote) override;
  const char* getLocalRoot() override;
  const char* getRemoteRoot() override;
  bool checkOutSupported() override;
  bool refresh() override;
  bool status(const char* path, bool& controlled, bool& edited, bool& modified, bool& outOfDate,
              const char*& statusText, const char*& workingRevision,
              const char*& repositoryRevision) override;
  bool addFile(const char* file, const char* comment) override;
  bool saved(const char* path) override;
  bool getFile(const char* file, bool keepChanges) override;
  bool getTo(const char* file, const char* revision, const char* destination) override;
  bool checkout(const char* file, const char* unused, bool clean) override;
  bool undoCheckout(const char* file, bool revert) override;
  bool checkin(const char* file, const char* comment) override;
  bool merged(const char* first, const char* second) override;
  const char* getRoot() override;
  bool refreshDirectoriesList(const char*) override { return true; }
  int iterateRemoteDirectory(const char* path, bool directories) override;
  const char* getRemoteDirectoryEntry() override;
  bool createDirectory(const char* parent, const char* name) override;
  const char* getLastErrorCommand() override;
  const char* getLastError() override;
  void preMulti() override;
  bool postMulti() override;

  // Records a command that failed or wrote to its standard error, and what it wrote.
  void setLastError(const std::string& command, const std::string& text);

  // Runs `cvsExecutable -d cvsRoot globalOptions command commandOptions files` in a directory
  // (empty: the host's current one), each string passed as one argument. Returns the client's exit
  // status, 0 for success. From 128 on it comes back less 256; -1 also means that a signal ended
  // the client, or that it could not be run. `output` receives its standard output as lines. A
  // failure, or any text on standard error, becomes the last error.
  int executeCVSCommand(const std::string& command, const std::vector<std::string>& globalOptions,
                        const std::vector<std::string>& commandOptions,
                        const std::string& workingDirectory, const std::vector<std::string>& files,
                        std::vector<std::string>& output);

  // Returns the directory that a path lies in, below the local root; `fileName` receives the name
  // of the file there.
  std::string getLocalDirectory(const std::string& path, std::string& fileName);

  // Returns the record of a file, and reads its directory first unless that is cached; null when
  // the client fails or does not name the file. The cache owns the record, which lasts until the
  // directory is dropped from it.
  CVSFileStatus* getFileStatus(const std::string& path);

  // Stores a record for every file whose status the output of "status" holds. Always true.
  bool parseStatusOutput(FileStatusMap* statusMap, const std::vector<std::string>& lines);

  // Marks the records of the files that the output of "editors" names. `directory`, in which the
  // client ran, is not read.
  void parseEditorsOutput(const std::string& directory, FileStatusMap* statusMap,
                          const std::vector<std::string>& lines);

 private:
  // Runs the client as executeCVSCommand does, and leaves its output with the process.
  int runCVSCommand(Process& process, const std::string& command,
                    const std::vector<std::string>& globalOptions,
                    const std::vector<std::string>& commandOptions,
                    const std::string& workingDirectory, const std::vector<std::string>& files);

  // Reads a directory into the cache. Returns null, and caches nothing, when the client fails.
  FileStatusMap* readDirectory(const std::string& directory);

  // Runs a command on one file in the local root and returns whether it succeeded.
  bool runOnFile(const std::string& command, const std::vector<std::string>& options,
                 const std::string& file);

  // Appends a file to the batch. The first to join sets the command and the options. Always true.
  bool joinMulti(const std::string& command, const std::vector<std::string>& options,
                 const std::string& file);

  // Empties and closes the batch.
  void closeMulti();

  bool loginRequired = false;
  bool editSupported = false;
  std::string cvsExecutable;
  std::string cvsRoot;
  std::string userName;
  std::string password;
  std::string localRoot;
  std::string remoteRoot;
  std::map<std::string, std::unique_ptr<FileStatusMap>> statusCache;  // by working directory
  std::string lastErrorCommand;
  std::string lastError;
  bool inMulti = false;
  std::string multiCommand;  // empty when no batch is pending, and after a login inside one
  std::vector<std::string> multiOptions;
  std::vector<std::string> multiFiles;
  std::vector<std::string> remoteEntries;
  std::size_t remoteEntryCursor = 0;  // the entry handed out next; none at or past the end
};
