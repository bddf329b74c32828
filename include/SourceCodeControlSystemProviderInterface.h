// The whole contract between a development environment (the host) and a source-code-control
// provider.
//
// A host loads the provider's shared library, looks up the two functions declared at the end of
// this file by their plain names, allocates one provider object, drives it, and releases it.
//
//   Order      setOption, then setRoots, then login where the configuration asks for one; from
//              then on every other operation in any order. Options may change at any time.
//   Threads    One thread at a time on one object; several objects may be used by several threads
//              at once. An operation blocks for as long as the version-control client it runs.
//   Paths      Relative to the working-copy root, "/" between components, unless said otherwise.
//   Results    true (or a count) for success, false (or 0) for failure. After a failure
//              getLastErrorCommand() and getLastError() tell what the client said. A failure that
//              runs no client leaves the two alone: an argument that is refused, a directory that
//              is no working copy, a destination that cannot be written. getLastErrorCommand()
//              describes the one exception.
//   Null       A null pointer makes the call fail and changes nothing, unless said otherwise.
//   Strings    The provider first copies the strings that the host passes in: they may be its
//              own. The strings that it hands out are borrowed: the host frees nothing, and each
//              operation says how long they last. All of them end with the provider.
//   Memory     Running out of it raises std::bad_alloc. What the client did until then stays done,
//              and the provider can be used as before. A provider is allocated and freed on the
//              library's side, by the two functions below and by nothing else.
#pragma once

// Hosts call the operations by their position in the virtual table, and position and signature
// are all that the two sides share: the order of the declarations never changes, none is inserted,
// and there is no virtual destructor, which would take positions of its own.
class SourceCodeControlSystemProviderInterface {
 public:
  // Stores one setting and returns true; returns false for a key it does not know. Keys are
  // compared exactly. A null value is the empty string; switches are on for exactly "Yes".
  //   Environment/Source Code Control/CVSExecutable     name or path of the client
  //   Environment/Source Code Control/CVSRoot           repository specification
  //   Environment/Source Code Control/CVSLoginRequired  login and logout run the client
  //   Environment/Source Code Control/CVSEditSupported  announced edits are tracked
  virtual bool setOption(const char* key, const char* value) = 0;

  // Number of repositories on offer: always 1.
  virtual int iterateRepositoryList() = 0;
  // The one repository specification in force. Lasts until setOption or login replaces it.
  virtual const char* getRepositoryListEntry() = 0;

  // Records the credentials and the repository specification, each replacing the earlier one even
  // when the call fails, and logs in when a login is required. A null argument is the empty string.
  // The password reaches the client on its command line. A login cuts an open batch off: the
  // command is forgotten, the files stay, and the next operation to join sets the command for all.
  virtual bool login(const char* user, const char* password, const char* root) = 0;
  // Logs out when a login is required, and forgets every cached status. Always true.
  virtual bool logout() = 0;

  // Ties the provider to an existing working copy, stored exactly as passed, and learns the
  // repository directory it mirrors. False, changing nothing, for a directory that is none.
  virtual bool setRoots(const char* local) = 0;
  // Makes "/" followed by the absolute path `local` the working-copy root. Checks the top level of
  // the repository directory `remote` out there, unless it already is a working copy; false when
  // that fails, and the root has changed all the same. Leaves the remote root alone: a host that
  // wants it calls the form above next.
  virtual bool setRoots(const char* local, const char* remote) = 0;
  // The working-copy root; empty before setRoots. Lasts until the next setRoots.
  virtual const char* getLocalRoot() = 0;
  // The repository directory of the working-copy root. Lasts until the next setRoots.
  virtual const char* getRemoteRoot() = 0;

  // Whether announced edits are tracked.
  virtual bool checkOutSupported() = 0;

  // Forgets every cached status. Always true.
  virtual bool refresh() = 0;
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
  // under control, refresh or logout.
  virtual bool status(const char* path, bool& controlled, bool& edited, bool& modified,
                      bool& outOfDate, const char*& statusText, const char*& workingRevision,
                      const char*& repositoryRevision) = 0;

  // Puts a file under control, new directories above it included, and commits it. The client's
  // "add" runs at once in an open batch too, and only the commit joins it. A null or empty comment
  // becomes "no comment". After a failure the steps that succeeded stay done. Every status of a
  // directory that becomes controlled is forgotten.
  virtual bool addFile(const char* file, const char* comment) = 0;
  // Reads the status of one file again if its directory is cached. True even when that fails. A
  // status that is not in the table above, as after a conflict, leaves the cached one unchanged.
  virtual bool saved(const char* path) = 0;
  // Updates one file from the repository, or joins the open batch. With `keepChanges` the
  // repository's changes are merged into the file; without, local changes are replaced.
  virtual bool getFile(const char* file, bool keepChanges) = 0;
  // Writes one revision of a file, as lines of text, to `destination`, a path as the host itself
  // would use it. False when the client fails, leaving the destination alone, or when it cannot be
  // written whole.
  virtual bool getTo(const char* file, const char* revision, const char* destination) = 0;
  // Announces that a file is being edited. With `clean`, a file whose status is modified is first
  // replaced by the repository's. The second argument is not read.
  virtual bool checkout(const char* file, const char* unused, bool clean) = 0;
  // Withdraws that announcement; changes made to the file since are lost. With `revert`, the file
  // is then replaced by the repository's.
  virtual bool undoCheckout(const char* file, bool revert) = 0;
  // Commits one file, or joins the open batch. A null comment becomes "no comment"; so does an
  // empty one outside a batch.
  virtual bool checkin(const char* file, const char* comment) = 0;
  // Not supported: always false, whatever the arguments.
  virtual bool merged(const char* first, const char* second) = 0;

  // The name of the root: always ".", as long as the provider lives.
  virtual const char* getRoot() = 0;
  // Does nothing: listings are never cached. Always true, whatever the argument.
  virtual bool refreshDirectoriesList(const char* path) = 0;
  // Lists the subdirectories, or else the files, of a repository directory and returns how many
  // there are; 0 also when the client fails.
  virtual int iterateRemoteDirectory(const char* path, bool directories) = 0;
  // The next name of the last listing, null at its end. Lasts until the next listing.
  virtual const char* getRemoteDirectoryEntry() = 0;
  // Creates a repository directory in `parent`, or at the top level when that is null, by importing
  // an empty temporary directory. The user given to login becomes the vendor tag of that import:
  // without one the client refuses.
  virtual bool createDirectory(const char* parent, const char* name) = 0;

  // The client command that last failed or wrote to its standard error, and what it wrote there,
  // lines joined by "\n". When createDirectory cannot make a temporary directory: "import", and no
  // text. Empty, never null, before the first such command; later success clears neither. Both last
  // until the next such command.
  virtual const char* getLastErrorCommand() = 0;
  virtual const char* getLastError() = 0;

  // Opens a batch: addFile, getFile and checkin now only join it, and the command and options of
  // the first to join apply to every file.
  virtual void preMulti() {}
  // Runs the batch as one command and closes it. False when the command fails: the batch then
  // stays open and whole, and can be run again.
  virtual bool postMulti() { return true; }

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
