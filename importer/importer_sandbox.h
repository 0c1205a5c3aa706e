#ifndef IMPORTER_SANDBOX_H
#define IMPORTER_SANDBOX_H

// The confinement an importer enters before it reads a byte of evidence,
// so that a file which takes the parser over can do no harm: it may read
// the descriptors it holds, use memory, time and locks, die, and read and
// answer on its channel; it can open nothing by name, reach no network,
// start no program or process, and signal no one but itself.
namespace importer_sandbox {

// Leaves every privilege (importer_privileges.h), locks the process out of
// the file system (file_system_lockout.h) and installs the system-call
// filter whose list is in importer_sandbox.cpp, with channel the only
// descriptor it may send or write on. Steps the host does not allow are
// skipped; the process runs under the rest.
void confine_importer(int channel);

} // namespace importer_sandbox

#endif // IMPORTER_SANDBOX_H
