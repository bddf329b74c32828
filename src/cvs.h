#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
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

// The files of one directory, by their names inside it, which can be looked up without a copy.
using FileStatusMap = std::map<std::string, CVSFileStatus, std::less<>>;

// Appends the tokens of `text`, the maximal runs of characters not in `delimiters`, to `out`. No
// token is empty; a null text has none.
void splitString(const char* text, const char* delimiters, std::vector<std::string>& out);

// Whether the administrative file of a working-copy directory can be read.
bool isWorkingCopy(const std::string& directory);

// The provider. It holds what the host told it, the status it has read and the batch it gathers;
// every operation that needs the repository runs one or more commands of the external client, one
// at a time, and nothing stays open between two calls. The operations are described where the
// host meets them, in SourceCodeControlSystemProviderInterface.
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
  // status, 0 for success and -1 when it could not be run; `output` receives its standard output
  // as lines. A failure, or any text on standard error, becomes the last error.
  int executeCVSCommand(const std::string& command, const std::vector<std::string>& globalOptions,
                        const std::vector<std::string>& commandOptions,
                        const std::string& workingDirectory, const std::vector<std::string>& files,
                        std::vector<std::string>& output);

  // The directory a path lies in, below the local root; `fileName` receives its name there.
  std::string getLocalDirectory(const std::string& path, std::string& fileName);

  // The record of a file, reading its directory unless cached; null when that fails or does not
  // name the file. Owned by the cache; lasts until the directory is dropped from it.
  CVSFileStatus* getFileStatus(const std::string& path);

  // Stores a record for every file whose status the output of "status" tells. Always true.
  bool parseStatusOutput(FileStatusMap* statusMap, const std::vector<std::string>& lines);

  // Marks the records of the files that the output of "editors" names. `directory` is where it
  // was run, which the lines do not depend on.
  void parseEditorsOutput(const std::string& directory, FileStatusMap* statusMap,
                          const std::vector<std::string>& lines);

 private:
  // Runs the client as executeCVSCommand does, and leaves its output with the process.
  int runCVSCommand(Process& process, const std::string& command,
                    const std::vector<std::string>& globalOptions,
                    const std::vector<std::string>& commandOptions,
                    const std::string& workingDirectory, const std::vector<std::string>& files);

  // What getFileStatus does, for a path that need not be a string of its own.
  CVSFileStatus* findRecord(std::string_view path);

  // Reads a directory into the cache; null, caching nothing, when the client fails.
  FileStatusMap* readDirectory(const std::string& directory);

  // Runs a command on one file in the local root and returns whether it succeeded.
  bool runOnFile(const std::string& command, const std::vector<std::string>& options,
                 const char* file);

  // Appends a file to the batch, whose command and options are those of the first to join. True.
  bool joinMulti(const char* command, const std::vector<std::string>& options, const char* file);

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

  std::string directoryKey;  // of the last lookup: a cached answer allocates nothing
};
