#include "importer_spawner.h"

#include "importer_privileges.h"
#include "importer_sandbox.h"
#include "descriptor_channel.h"
#include "import_protocol.h"
#include "spawn_protocol.h"

#include <dirent.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

namespace {

// Threads of this process; 0 when that cannot be told.
int thread_count()
{
    DIR *tasks = ::opendir("/proc/self/task");
    if (!tasks)
        return 0;
    int count = 0;
    while (const dirent *entry = ::readdir(tasks)) {
        if (entry->d_name[0] != '.')
            ++count;
    }
    ::closedir(tasks);
    return count;
}

// In a fresh child of the spawner: becomes an importer serving channel.
// A child of a threaded spawner may hold a lock copied from a thread it
// no longer has: it starts the importer afresh instead.
[[noreturn]] void serve_as_importer(int channel, pid_t spawner, ContentImportersMaker make_importers,
                                    bool threaded)
{
    // It dies with the spawner, which dies with the worker; a spawner
    // already gone must not leave it running.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != spawner)
        ::_exit(127);
    // A group of its own, so that whatever it starts is killed with it.
    ::setpgid(0, 0);
    // The control socket (and any other socket the spawner was handed)
    // must not reach a process that reads hostile files: its channel takes
    // the control socket's place, and everything above it is closed.
    if (::dup2(channel, import_protocol::importer_channel_fd) < 0)
        ::_exit(127);
    if (::close_range(import_protocol::importer_channel_fd + 1, ~0U, 0) != 0) {
        for (int fd = import_protocol::importer_channel_fd + 1; fd < 65536; ++fd)
            ::close(fd);
    }
    if (threaded) {
        char *const argv[] = {const_cast<char *>("vantrel-importer"), const_cast<char *>(importer_only_argument),
                              nullptr};
        ::execv("/proc/self/exe", argv);
        ::_exit(127);
    }
    // Its limits are the spawner's, which the worker set; the processor
    // time counts from this fork on.
    const ContentImporters importers = make_importers();
    importer_sandbox::confine_importer(import_protocol::importer_channel_fd);
    // Nothing the spawner's libraries registered to run at exit concerns it.
    ::_exit(run_importer_loop(import_protocol::importer_channel_fd, importers));
}

// Kills importer and whatever it started in its group.
void kill_importer(pid_t importer)
{
    ::kill(-importer, SIGKILL);
    ::kill(importer, SIGKILL);
}

// Reaps whichever of ended have finished dying, without waiting for the
// others: an importer's teardown then overlaps the next one's start.
void reap_finished(std::vector<pid_t> &ended)
{
    ended.erase(std::remove_if(ended.begin(), ended.end(),
                               [](pid_t importer) { return ::waitpid(importer, nullptr, WNOHANG) != 0; }),
                ended.end());
}

} // namespace

int run_exec_started_importer(ContentImportersMaker make_importers)
{
    const ContentImporters importers = make_importers();
    importer_sandbox::confine_importer(import_protocol::importer_channel_fd);
    return run_importer_loop(import_protocol::importer_channel_fd, importers);
}

int run_importer_spawner(int control, ContentImportersMaker make_importers)
{
    // A fork copies only the forking thread: a lock another thread held
    // would stay held forever in every importer. Should a library ever
    // start a thread, importers cost an exec again rather than nothing.
    const bool threaded = thread_count() > 1;
    // The spawner reads no evidence, but the steps that need privilege are
    // taken here, once, for every importer it forks: they start as nobody,
    // in an empty network namespace. Nor is the spawner dumpable: a
    // hijacked importer must not attach to it and take over the process
    // that forks the next ones. It stays free to fork and exec, so the rest
    // of the confinement is each importer's own.
    importer_privileges::leave_privileges();
    // Importers are reaped only after the worker asked to end them.
    ::signal(SIGCHLD, SIG_DFL);

    const pid_t self = ::getpid();
    // Importers forked and not yet ended, and those killed but not reaped.
    // Only these are ever signalled; their pids stay reserved until this
    // process reaps them, so no signal can reach a process that has taken
    // a number over.
    std::vector<pid_t> importers, ended;
    for (;;) {
        reap_finished(ended);
        std::optional<descriptor_channel::Received> request =
            descriptor_channel::receive_with_descriptor(control, spawn_protocol::request_size);
        if (!request) {
            // The worker is done: every importer is ended and reaped here,
            // leaving no orphan behind.
            std::for_each(importers.begin(), importers.end(), kill_importer);
            ended.insert(ended.end(), importers.begin(), importers.end());
            for (const pid_t importer : ended) {
                while (::waitpid(importer, nullptr, 0) < 0 && errno == EINTR) {
                }
            }
            return 0;
        }
        const std::optional<spawn_protocol::Request> asked = spawn_protocol::decode_request(request->bytes);
        if (!asked)
            return 1;
        pid_t answer = 0;
        if (asked->kind == spawn_protocol::Kind::Spawn && request->passed) {
            const pid_t importer = ::fork();
            if (importer == 0)
                serve_as_importer(request->passed.get(), self, make_importers, threaded);
            if (importer > 0) {
                importers.push_back(importer);
                answer = importer;
            }
        } else if (asked->kind == spawn_protocol::Kind::End) {
            // Only a process this spawner forked and has not yet reaped.
            const auto known = std::find(importers.begin(), importers.end(), asked->importer);
            if (known != importers.end()) {
                kill_importer(*known);
                answer = *known;
                ended.push_back(*known);
                importers.erase(known);
            }
        }
        // The spawner keeps no importer's socket: the worker must see its
        // importer's end of the stream when that importer dies.
        request->passed.reset();
        if (!descriptor_channel::send(control, spawn_protocol::encode_answer(answer)))
            return 1;
    }
}
