// The importer process as the worker drives it, with a test importer whose
// files script its misbehaviour: whatever one file does to the importer,
// the worker gets the next file's values from a fresh process.

#include "content_samples.h"
#include "evidence_files.h"
#include "file_system_lockout.h"
#include "content/importer_process.h"
#include "metadata_value_text.h"
#include "type_identity/content_type.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

using namespace std::chrono_literals;

namespace {

// Limits small enough to keep the suite quick.
ImporterLimits test_limits()
{
    ImporterLimits limits;
    limits.time_per_file = 500ms;
    limits.address_space_bytes = quint64(512) << 20;
    return limits;
}

class Files
{
public:
    // A file holding content, opened as the worker opens evidence.
    UniqueFd open(const QByteArray &content)
    {
        const QString path = dir.filePath(QString::number(++count));
        return write_file(path, content) ? UniqueFd(::open(native(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC))
                                         : UniqueFd();
    }
    QString path(const QString &name) const { return dir.filePath(name); }
    // The test importer under another name, which changes how it behaves.
    QString test_importer_named(const QString &name) const
    {
        QFile::link(VANTREL_TEST_IMPORTER, path(name));
        return path(name);
    }

private:
    QTemporaryDir dir;
    int count = 0;
};

std::optional<ImportedValues> import(ImporterProcess &importer, Files &files, const QByteArray &content)
{
    const UniqueFd file = files.open(content);
    return file ? importer.import(file.get(), QStringLiteral("public.jpeg")) : std::nullopt;
}

MetadataValue value_of(const std::optional<ImportedValues> &values, const QString &key)
{
    if (values) {
        for (const auto &[name, value] : *values) {
            if (name == key)
                return value;
        }
    }
    return MetadataValue::null_value();
}

// Whether a child of this test process has ended but was not reaped; it is left unreaped.
bool zombie_child()
{
    siginfo_t ended = {};
    return ::waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT) == 0 && ended.si_pid != 0;
}

// Whether pid names a process that has not died (stopped or asleep counts).
bool alive(pid_t pid)
{
    QFile status(QStringLiteral("/proc/%1/stat").arg(pid));
    return status.open(QIODevice::ReadOnly) && !status.readAll().split(')').value(1).trimmed().startsWith('Z');
}

// The children of parent that have not died.
QList<pid_t> living_children(pid_t parent)
{
    QList<pid_t> living;
    QFile list(QStringLiteral("/proc/%1/task/%1/children").arg(parent));
    if (list.open(QIODevice::ReadOnly)) {
        for (const QByteArray &child : list.readAll().split(' ')) {
            if (child.toInt() > 0 && alive(child.toInt()))
                living.append(child.toInt());
        }
    }
    return living;
}

// The spawner and the importers it forked, all living; empty unless there
// is exactly one spawner.
QList<pid_t> importer_processes()
{
    const QList<pid_t> spawners = living_children(::getpid());
    return spawners.size() == 1 ? spawners + living_children(spawners[0]) : QList<pid_t>();
}

// The fields of a process's /proc/<pid>/status, by name.
QMap<QByteArray, QByteArray> status_of(pid_t pid)
{
    QMap<QByteArray, QByteArray> fields;
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (status.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : status.readAll().split('\n')) {
            const int colon = line.indexOf(':');
            if (colon > 0)
                fields.insert(line.left(colon), line.mid(colon + 1).simplified());
        }
    }
    return fields;
}

// What a process's /proc/<pid>/<link> points at.
QByteArray proc_link(pid_t pid, const char *link)
{
    char target[256];
    const ssize_t size = ::readlink(QByteArray("/proc/" + QByteArray::number(pid) + '/' + link).constData(), target,
                                    sizeof target);
    return size > 0 ? QByteArray(target, size) : QByteArray();
}

// The values rendered as the worker stores them, one "key=text" each, sorted.
QStringList rendered(const std::optional<ImportedValues> &values)
{
    QStringList texts;
    for (const auto &[key, value] : values.value_or(ImportedValues()))
        texts.append(key + QLatin1Char('=') + metadata_value_text(value));
    texts.sort();
    return texts;
}

} // namespace

class tst_importer_process : public QObject
{
    Q_OBJECT

private slots:
    // An examiner's zone far from UTC, which the confined importer must read
    // a capture time without a zone in, as the parsers in process do.
    void initTestCase() { qputenv("TZ", "America/New_York"); }
    void failing_file_costs_only_its_own_values_data();
    void failing_file_costs_only_its_own_values();
    void limits_and_descriptors_of_the_process();
    void process_replaced_after_its_share_of_files();
    void confinement_of_a_live_importer_data();
    void confinement_of_a_live_importer();
    void confined_importer_refused_data();
    void confined_importer_refused();
    void file_system_lockout();
    void confined_importer_reads_as_the_parsers_do_data();
    void confined_importer_reads_as_the_parsers_do();
    void importers_that_cannot_be_had_cost_a_few_waits_data();
    void importers_that_cannot_be_had_cost_a_few_waits();

private:
    ContentSamples samples;
};

void tst_importer_process::failing_file_costs_only_its_own_values_data()
{
    QTest::addColumn<QByteArray>("hostile");

    QTest::newRow("asleep past the time limit") << QByteArray("sleep");
    QTest::newRow("busy past the time limit") << QByteArray("spin");
    QTest::newRow("segmentation fault") << QByteArray("crash");
    QTest::newRow("abort") << QByteArray("abort");
    QTest::newRow("answer of four gigabytes") << QByteArray("garbage");
    QTest::newRow("answer of an unknown kind") << QByteArray("lie");
    QTest::newRow("address space exhausted") << QByteArray("memory");
    // The forged answer names no request sent; the true one comes too late for its file.
    QTest::newRow("answer to a request never sent") << QByteArray("forge\nkMDItemTitle=own");
    // Where the host has no system-call filter, a hijacked importer can
    // signal the spawner, which runs as the same user.
    QTest::newRow("spawner killed by its importer") << QByteArray("kill-spawner");
    QTest::newRow("spawner stopped by its importer") << QByteArray("stop-spawner");
}

void tst_importer_process::failing_file_costs_only_its_own_values()
{
    QFETCH(QByteArray, hostile);

    Files files;
    QList<pid_t> started;
    {
        ImporterProcess importer(VANTREL_TEST_IMPORTER, test_limits());
        QCOMPARE(value_of(import(importer, files, "kMDItemTitle=before"), "kMDItemTitle"),
                 MetadataValue::from_text("before"));
        started = importer_processes();
        QCOMPARE(started.size(), 2);

        QVERIFY(!import(importer, files, hostile));
        QVERIFY(!zombie_child());
        // Killed by its spawner, or with it.
        QTRY_VERIFY_WITH_TIMEOUT(!alive(started[1]), 2000);

        QCOMPARE(value_of(import(importer, files, "kMDItemTitle=after"), "kMDItemTitle"),
                 MetadataValue::from_text("after"));
        QCOMPARE(importer.starts(), 2);
        const QList<pid_t> now = importer_processes();
        QCOMPARE(now.size(), 2);
        started += now;
    }
    // Nothing started for the worker outlives it.
    QTRY_VERIFY_WITH_TIMEOUT(std::none_of(started.begin(), started.end(), alive), 2000);
    QVERIFY(!zombie_child());
}

void tst_importer_process::limits_and_descriptors_of_the_process()
{
    Files files;
    // Descriptors the worker holds open (a case database, other evidence)
    // must not reach the importer.
    const UniqueFd unrelated = files.open("unrelated");
    const int leaky = ::open(QFile::encodeName(files.path("1")).constData(), O_RDONLY);
    ImporterProcess importer(VANTREL_TEST_IMPORTER, test_limits());
    const std::optional<ImportedValues> values = import(importer, files, "limits");
    ::close(leaky);
    QVERIFY(values);
    QCOMPARE(value_of(values, "kMDItemPixelWidth"), MetadataValue::from_number(double(quint64(512) << 20)));
    QCOMPARE(value_of(values, "kMDItemPixelHeight"), MetadataValue::from_number(0));
    QCOMPARE(value_of(values, "kMDItemNumberOfPages"), MetadataValue::from_number(0));
    // Nor can another importer attach to it, or to the spawner it came from.
    QCOMPARE(value_of(values, "kMDItemDurationSeconds"), MetadataValue::from_number(0));
}

void tst_importer_process::process_replaced_after_its_share_of_files()
{
    Files files;
    ImporterLimits limits = test_limits();
    limits.files_per_process = 3;
    ImporterProcess importer(VANTREL_TEST_IMPORTER, limits);
    QList<double> served;
    for (int i = 0; i < 7; ++i)
        served.append(value_of(import(importer, files, "served"), "kMDItemNumberOfPages").number);
    QCOMPARE(served, (QList<double>{1, 2, 3, 1, 2, 3, 1}));
    QCOMPARE(importer.starts(), 3);
    QCOMPARE(importer.requests(), 7);
}

void tst_importer_process::confinement_of_a_live_importer_data()
{
    QTest::addColumn<QString>("executable"); // empty: the test importer as a threaded spawner
    QTest::addColumn<bool>("started_by_exec");

    QTest::newRow("shipped importer, forked by its spawner") << QStringLiteral(VANTREL_IMPORTER) << false;
    QTest::newRow("test importer, forked by its spawner") << QStringLiteral(VANTREL_TEST_IMPORTER) << false;
    QTest::newRow("test importer started by exec from a threaded spawner") << QString() << true;
}

void tst_importer_process::confinement_of_a_live_importer()
{
    QFETCH(QString, executable);
    QFETCH(bool, started_by_exec);

    Files files;
    ImporterProcess importer(executable.isEmpty() ? files.test_importer_named("threaded-spawner") : executable,
                             test_limits());
    // A file no importer reads: the importer then waits for the next one.
    const UniqueFd file = files.open("kMDItemTitle=x");
    QVERIFY(importer.import(file.get(), QStringLiteral("public.plain-text")));
    const QList<pid_t> processes = importer_processes();
    QCOMPARE(processes.size(), 2);
    const pid_t live = processes[1];
    QFile command_line(QStringLiteral("/proc/%1/cmdline").arg(live));
    QVERIFY(command_line.open(QIODevice::ReadOnly));
    QCOMPARE(command_line.readAll().contains("--importer-only"), started_by_exec);

    const QMap<QByteArray, QByteArray> status = status_of(live);
    QCOMPARE(status.value("NoNewPrivs"), QByteArray("1"));
    QCOMPARE(status.value("Seccomp"), QByteArray("2"));
    for (const char *capabilities : {"CapEff", "CapPrm", "CapInh", "CapAmb"})
        QCOMPARE(status.value(capabilities), QByteArray("0000000000000000"));
    // Not dumpable: its /proc entries belong to root, not to its own user,
    // whom another hijacked importer would share.
    QCOMPARE(QFileInfo(QStringLiteral("/proc/%1/environ").arg(live)).ownerId(), 0u);
    if (::geteuid() == 0) {
        // Only root may read what a process that is not dumpable holds.
        // Nothing of the worker's environment but the examiner's time zone.
        QFile environment(QStringLiteral("/proc/%1/environ").arg(live));
        QVERIFY(environment.open(QIODevice::ReadOnly));
        QCOMPARE(environment.readAll(), qEnvironmentVariableIsSet("TZ") ? "TZ=" + qgetenv("TZ") + '\0' : QByteArray());
        QCOMPARE(proc_link(live, "cwd"), QByteArray("/"));
        // Started by root: nobody, with no groups and no capability to regain.
        QCOMPARE(status.value("Uid"), QByteArray("65534 65534 65534 65534"));
        QCOMPARE(status.value("Gid"), QByteArray("65534 65534 65534 65534"));
        QCOMPARE(status.value("Groups"), QByteArray());
        QCOMPARE(status.value("CapBnd"), QByteArray("0000000000000000"));
        // In a network namespace of its own.
        QVERIFY(proc_link(live, "ns/net") != proc_link(::getpid(), "ns/net"));
        QCOMPARE(proc_link(live, "ns/net"), proc_link(processes[0], "ns/net"));
    }
}

void tst_importer_process::confined_importer_refused_data()
{
    QTest::addColumn<bool>("started_by_exec");
    QTest::addColumn<QString>("call");
    QTest::addColumn<int>("error");

    const struct
    {
        const char *what;
        const char *call;
        int error;
    } refusals[] = {
        {"opening a file by name", "open", EPERM},
        {"making a socket", "socket", EPERM},
        {"starting a program", "execve", EPERM},
        {"starting a process", "fork", EPERM},
        {"writing on standard error", "write", EPERM},
        {"signalling its spawner", "signal", EPERM},
    };
    for (const bool by_exec : {false, true}) {
        for (const auto &refusal : refusals) {
            QTest::addRow("%s importer: %s is refused", by_exec ? "exec-started" : "forked", refusal.what)
                << by_exec << refusal.call << refusal.error;
        }
    }
    // A thread a library started before the sandbox is confined with the rest.
    QTest::newRow("exec-started importer: opening a file by name from an earlier thread is refused")
        << true << "open-elsewhere" << EPERM;
}

void tst_importer_process::confined_importer_refused()
{
    QFETCH(bool, started_by_exec);
    QFETCH(QString, call);
    QFETCH(int, error);

    Files files;
    ImporterProcess importer(started_by_exec ? files.test_importer_named("threaded-spawner") : VANTREL_TEST_IMPORTER,
                             test_limits());
    const std::optional<ImportedValues> tried = import(importer, files, "trespass");
    QVERIFY(tried);
    QCOMPARE(value_of(tried, call), MetadataValue::from_number(error));
}

// Behind the system-call filter, Landlock is what still refuses the file
// system should the filter be missing: tried in a child on its own.
void tst_importer_process::file_system_lockout()
{
    Files files;
    const UniqueFd held = files.open("held");
    const QByteArray path = QFile::encodeName(files.path("1"));
    const pid_t child = ::fork();
    if (child == 0) {
        ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
        if (!file_system_lockout::lock_out())
            ::_exit(77);
        char byte = 0;
        // Exit status 0 only when opening by name is refused and the held descriptor still reads.
        const bool refused = ::open(path.constData(), O_RDONLY) < 0 && errno == EACCES;
        ::_exit(refused && ::pread(held.get(), &byte, 1, 0) == 1 ? 0 : 1);
    }
    int status = 0;
    QCOMPARE(::waitpid(child, &status, 0), child);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 77)
        QSKIP("this kernel has no Landlock");
    QVERIFY(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

void tst_importer_process::confined_importer_reads_as_the_parsers_do_data()
{
    QTest::addColumn<QString>("sample");

    // Each library the importers read with, and each of their forms it takes.
    samples.make_all();
    for (const char *sample : {"photo.jpg", "turned.jpg", "camera.jpg", "alpha.png", "small.heic", "written.pdf", "described.pdf",
                               "open-encrypted.pdf", "locked.pdf", "song.mp3", "song.m4a", "song.wav", "clip.mp4",
                               "clip.mov", "report.docx", "minutes.odt"}) {
        if (!samples.missing.count(sample))
            QTest::newRow(sample) << QString::fromLatin1(sample);
    }
}

void tst_importer_process::confined_importer_reads_as_the_parsers_do()
{
    QFETCH(QString, sample);

    const QString content_type = content_type_identifier(sample);
    const QStringList in_process = rendered(import_file(samples.path(sample), content_type));
    QVERIFY(!in_process.isEmpty());
    ImporterProcess importer(VANTREL_IMPORTER);
    const UniqueFd file(::open(QFile::encodeName(samples.path(sample)).constData(), O_RDONLY | O_CLOEXEC));
    QCOMPARE(rendered(importer.import(file.get(), content_type)), in_process);
}

void tst_importer_process::importers_that_cannot_be_had_cost_a_few_waits_data()
{
    QTest::addColumn<QString>("executable"); // under the test folder, or a name for the test importer
    QTest::addColumn<QByteArrayList>("files");
    QTest::addColumn<int>("requests");
    QTest::addColumn<int>("starts");
    QTest::addColumn<QString>("last_title");

    const QByteArrayList plain(8, "kMDItemTitle=plain");
    QTest::newRow("an executable that is missing is tried three times, not once a file")
        << "no-such-importer" << plain << 3 << 0 << QString();
    QTest::newRow("a spawner that never answers is waited for three times, not once a file")
        << "silent-spawner" << plain << 3 << 0 << QString();
    // A hostile evidence maker must not switch content reading off for the
    // other files.
    QTest::newRow("files that crash their importers leave the next file read")
        << "spawner" << (QByteArrayList(5, "crash") << "kMDItemTitle=after") << 6 << 6 << "after";
    QTest::newRow("files that signal their spawner leave the next file read")
        << "spawner" << (QByteArrayList(5, "stop-spawner") << "kMDItemTitle=after") << 6 << 6 << "after";
}

void tst_importer_process::importers_that_cannot_be_had_cost_a_few_waits()
{
    QFETCH(QString, executable);
    QFETCH(QByteArrayList, files);
    QFETCH(int, requests);
    QFETCH(int, starts);
    QFETCH(QString, last_title);

    Files evidence;
    const QString program = executable == "no-such-importer" ? evidence.path(executable)
                                                              : evidence.test_importer_named(executable);
    ImporterProcess importer(program, test_limits());
    std::optional<ImportedValues> last;
    for (const QByteArray &content : files)
        last = import(importer, evidence, content);
    QCOMPARE(importer.requests(), requests);
    QCOMPARE(importer.starts(), starts);
    QCOMPARE(importer.given_up(), starts == 0);
    QCOMPARE(value_of(last, "kMDItemTitle"), last_title.isEmpty() ? MetadataValue::null_value()
                                                                   : MetadataValue::from_text(last_title));
    QVERIFY(!zombie_child());
}

QTEST_GUILESS_MAIN(tst_importer_process)
#include "tst_importer_process.moc"
