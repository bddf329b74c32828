// The whole contract between a development environment (the host) and a source-code-control
// provider.
//
// A host loads the provider's shared library, looks up the two functions declared at the end of
// this file by their plain names, allocates one provider object, drives it, and releases it.
//
//   Order      setOption, then setRoots, then login where the configuration asks for one; from
//              then on every other operation in any order. Options may change at any time.
//   Threads    One thread at a time on one object; several objects may be used by several threads
//              at once. An operation that runs the version-control client returns when the client
//              has ended and nobody holds its standard output open any more.
//   Paths      Relative to the working-copy root, "/" between components, unless said otherwise.
//   Results    true (or a count) for success, false (or 0) for failure. After a failure
//              getLastErrorCommand() and getLastError() tell what the client said. A call that
//              fails before it comes to a client leaves the two alone, as with a null pointer or a
//              directory that is not a working copy. getLastErrorCommand() has the one exception.
//   Null       A null pointer makes the call fail and changes nothing, unless said otherwise.
//   Strings    Bytes that end at a NUL, as the client and the file system have them. The provider
//              first copies the strings that the host passes in: they may be its own. The strings
//              that it hands out are borrowed: the host frees nothing, and each operation says how
//              long they last. All of them end with the provider.
//   Memory     Running out of it raises std::bad_alloc. Whatever the client has already done
//              stands, and the provider can be used as before. A provider is allocated and freed
//              on the library's side, by the two functions below and by nothing else.
//   Languages  In C, Python and the like, a host calls through the table of functions: the first
//              word of the object points to it. The number beside each operation, less one, is its
//              index there. Each takes the object first, and a pointer for a reference. A bool is
//              one byte.
#pragma once

// Hosts call the operations by their position in the virtual table, and position and signature
// are all that the two sides share: the order of the declarations never changes, none is inserted,
// and there is no virtual destructor, which would take positions of its own.
class SourceCodeControlSystemProviderInterface {
 public:
  // Stores one setting and returns true; returns false for a key it does not know. Keys are
  // compared exactly. A null value is the empty string; switches are on for exactly "Yes". Until
  // they are set, the strings are empty and the switches off.
  //   Environment/Source Code Control/CVSExecutable     name or path of the client
  //   Environment/Source Code Control/CVSRoot           repository, as after the client's -d
  //   Environment/Source Code Control/CVSLoginRequired  login and logout run the client
  //   Environment/Source Code Control/CVSEditSupported  announced edits are tracked
  virtual bool setOption(const char* key, const char* value) = 0;  // 1

  // Number of repositories on offer: always 1.
  virtual int iterateRepositoryList() = 0;  // 2
  // The one repository specification in force. Lasts until setOption or login replaces it.
  virtual const char* getRepositoryListEntry() = 0;  // 3

  // Records the credentials and the repository specification, each replacing the earlier one even
  // when the call fails, and logs in when a login is required. A null argument is the empty string.
  // The client gets the password on its command line, where other users of the machine can see it.
  // A login makes an open batch forget its command: the files stay, and the next operation to join
  // sets the command for all.
  virtual bool login(const char* user, const char* password, const char* root) = 0;  // 4
  // Logs out when a login is required, and forgets every cached status. Always true.
  virtual bool logout() = 0;  // 5

  // Opens an existing working copy: its directory, exactly as passed, becomes the working-copy
  // root, and the provider learns the repository directory that it mirrors. False, changing
  // nothing, for a directory that is not a working copy.
  virtual bool setRoots(const char* local) = 0;  // 6
  // Sets the working-copy root to "/" followed by the absolute path `local`. Checks the top level
  // of the repository directory `remote` out there, unless it already is a working copy; false when
  // that fails, and the root has changed nonetheless. Leaves the remote root alone: a host that
  // wants it calls the form above next.
  virtual bool setRoots(const char* local, const char* remote) = 0;  // 7
  // The working-copy root; empty before setRoots. Lasts until the next setRoots.
  virtual const char* getLocalRoot() = 0;  // 8
  // The repository directory of the working-copy root. Lasts until the next setRoots.
  virtual const char* getRemoteRoot() = 0;  // 9

  // Whether announced edits are tracked.
  virtual bool checkOutSupported() = 0;  // 10

  // Forgets every cached status. Always true.
  virtual bool refresh() = 0;  // 11
  // Reports the state of one file, reading its whole directory the first time.
  //   true   The file is known: `controlled` is set and every other output is written.
  //   false  The file is known neither here nor in the repository, or the client failed:
  //          `controlled` is cleared and the other outputs keep what they held.
  // `edited` is set where somebody, not only this user, has announced an edit of the file and edits
  // are tracked. The others go by `statusText`, which is one of
  //                                  modified  outOfDate
  //   "Up-to-date"                      no        no
  //   "Locally Modified"                yes       no
  //   "File had conflicts on merge"     yes       no      as the client says it
  //   "Needs Merge"                     yes       yes     modified here and in the repository
  //   "Needs Checkout"                  no        yes
  //   "Needs Patch"                     no        yes     modified in the repository
  //   "missing"                         yes       yes     in the repository, without a status here
  // The revisions are the one that the file here is based on and the newest one in the repository;
  // both are empty for a missing file. The strings last until the file's status is read again or
  // forgotten: by saved, any successful change of the file, an addFile that puts its directory
  // under version control, refresh or logout.
  virtual bool status(const char* path, bool& controlled, bool& edited, bool& modified,
                      bool& outOfDate, const char*& statusText, const char*& workingRevision,
                      const char*& repositoryRevision) = 0;  // 12

  // Puts a file under version control, new directories above it included, and commits it. In an
  // open batch only the commit joins: the client's "add" runs at once. A null or empty comment
  // becomes "no comment". After a failure the steps that succeeded stand. Every status of a
  // directory that comes under version control is forgotten.
  virtual bool addFile(const char* file, const char* comment) = 0;  // 13
  // Reads the status of one file again if its directory is cached. True even when that fails. A
  // status that is not in the table above, as after a conflict, leaves the cached one unchanged.
  virtual bool saved(const char* path) = 0;  // 14
  // Updates one file from the repository, or joins the open batch. With `keepChanges` the
  // repository's changes are merged into the file; without, local changes are discarded.
  virtual bool getFile(const char* file, bool keepChanges) = 0;  // 15
  // Writes one revision of a file to `destination`, a path as the host itself would use it. The
  // contents pass through as lines of text, each cut at its first NUL. False when the client fails,
  // leaving the destination alone, or when the destination cannot be written whole.
  virtual bool getTo(const char* file, const char* revision, const char* destination) = 0;  // 16
  // Announces that a file is being edited. With `clean`, a file whose status is modified, but not
  // missing, is first replaced by the repository's. The second argument is not read.
  virtual bool checkout(const char* file, const char* unused, bool clean) = 0;  // 17
  // Withdraws that announcement: the file becomes what it was then, and changes made since are
  // lost. With `revert`, the file is then replaced by the repository's.
  virtual bool undoCheckout(const char* file, bool revert) = 0;  // 18
  // Commits one file, or joins the open batch. A null comment becomes "no comment"; so does an
  // empty one outside a batch.
  virtual bool checkin(const char* file, const char* comment) = 0;  // 19
  // Not supported: always false, whatever the arguments.
  virtual bool merged(const char* first, const char* second) = 0;  // 20

  // The name of the root: always ".", as long as the provider lives.
  virtual const char* getRoot() = 0;  // 21
  // Does nothing: listings are never cached. Always true, whatever the argument.
  virtual bool refreshDirectoriesList(const char* path) = 0;  // 22
  // Lists the subdirectories, or else the files, of a repository directory and returns how many
  // there are; 0 also when the client fails. The path is relative to the top of the repository,
  // which is the empty path.
  virtual int iterateRemoteDirectory(const char* path, bool directories) = 0;  // 23
  // The next name of the last listing, null at its end. Lasts until the next listing.
  virtual const char* getRemoteDirectoryEntry() = 0;  // 24
  // Creates a repository directory in `parent`, or at the top level when that is null, by importing
  // an empty temporary directory. The user given to login becomes the vendor tag of that import:
  // without one the client refuses.
  virtual bool createDirectory(const char* parent, const char* name) = 0;  // 25

  // The client command that last failed, could not be started or wrote to its standard error; when
  // createDirectory cannot make a temporary directory, "import". Empty before the first such
  // command; later success does not clear it. Lasts until the next such command.
  virtual const char* getLastErrorCommand() = 0;  // 26
  // What that command wrote to its standard error before it closed its standard output, the lines
  // joined by "\n". Lasts as long.
  virtual const char* getLastError() = 0;  // 27

  // Opens a batch: addFile, getFile and checkin now join it, and the command and options of the
  // first to join apply to every file.
  virtual void preMulti() {}  // 28
  // Runs the batch as one command and closes it. False when the command fails: the batch then
  // stays open and whole, and can be run again.
  virtual bool postMulti() { return true; }  // 29

 protected:
  // A provider is destroyed only by ReleaseSourceCodeControlSystemInterface.
  ~SourceCodeControlSystemProviderInterface() = default;
};

extern "C" {

// Creates an independent provider, which the caller hands back to the function below; null when
// memory runs out.
SourceCodeControlSystemProviderInterface* AllocateSourceCodeControlSystemInterface();

// Destroys a provider, dropping a batch that was never run. Null is ignored.
void ReleaseSourceCodeControlSystemInterface(SourceCodeControlSystemProviderInterface* provider);
}
