#ifndef IMPORTER_PRIVILEGES_H
#define IMPORTER_PRIVILEGES_H

// The identity a process that parses hostile files runs under: nobody's,
// with no capability, no way to gain one, no network and no folder of its
// own. Taken by the spawner while it may still take the privileged steps,
// and again by each importer, for which it costs nothing once taken.
namespace importer_privileges {

// The unprivileged user and group importers become when started as root.
constexpr unsigned nobody = 65534;

// Enters a fresh, empty network namespace (needs CAP_SYS_ADMIN), drops every
// capability from the bounding set, switches a root process to nobody with
// no supplementary groups, clears its remaining capabilities, sets
// no_new_privs, moves to "/" and makes itself impossible to attach to. A
// step the host does not allow (no privilege, an older kernel) is skipped;
// the others are still taken. The parent-death signal, which a change of
// user clears, is set again.
void leave_privileges();

} // namespace importer_privileges

#endif // IMPORTER_PRIVILEGES_H
