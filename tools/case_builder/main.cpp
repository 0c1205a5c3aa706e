#include "case_builder.h"
#include "case_builder_command_line.h"

#include <QCoreApplication>
#include <QTextStream>

namespace {

// Exit statuses: what a script driving the builder can tell apart.
enum ExitStatus { Success = 0, Failure = 1, BadArguments = 2 };

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("vantrel-case"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VANTREL_VERSION));

    QTextStream out(stdout);
    QTextStream err(stderr);
    const QString name = QCoreApplication::applicationName();

    // The worker lies beside the builder in the build folder.
    CaseBuilderCommandLine command_line(QCoreApplication::applicationDirPath()
                                        + QStringLiteral("/vantrel"));
    switch (command_line.parse(QCoreApplication::arguments())) {
    case CaseBuilderCommandLine::Outcome::Help:
        out << command_line.help_text();
        return Success;
    case CaseBuilderCommandLine::Outcome::Version:
        out << name << ' ' << QCoreApplication::applicationVersion() << '\n';
        return Success;
    case CaseBuilderCommandLine::Outcome::Error:
        err << name << ": " << command_line.error_text() << '\n'
            << "Try '" << name << " --help' for the options.\n";
        return BadArguments;
    case CaseBuilderCommandLine::Outcome::Build:
        break;
    }

    CaseBuilder builder(command_line.options());
    const CaseBuilder::Result result = builder.build();
    for (const QString &warning : builder.warnings())
        err << name << ": warning: " << warning << '\n';
    if (result != CaseBuilder::Result::Built) {
        err << name << ": " << builder.error() << '\n';
        return result == CaseBuilder::Result::BadArgument ? BadArguments : Failure;
    }
    for (const QString &line : builder.report_lines())
        out << line << '\n';
    return Success;
}
