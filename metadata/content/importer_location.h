#ifndef IMPORTER_LOCATION_H
#define IMPORTER_LOCATION_H

#include <QString>
#include <QStringList>

// Where the worker looks for vantrel-importer, first first: beside its own
// executable as /proc tells it, beside the path it was started by (which a
// host without /proc still tells), then where the build tree and the
// installation put it.
QStringList importer_candidates();

// The first candidate that is an executable file; empty when there is none.
QString importer_executable();

// The same for another helper program of the worker's, by its name
// (vantrel-image-reader).
QStringList helper_candidates(const QString &name);
QString helper_executable(const QString &name);

#endif // IMPORTER_LOCATION_H
