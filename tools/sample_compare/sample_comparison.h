#ifndef SAMPLE_COMPARISON_H
#define SAMPLE_COMPARISON_H

#include "expected_values.h"

#include <QList>
#include <QString>
#include <QStringList>

class MetadataStore;

// One line per expected value the store gives otherwise, for the files
// beneath samples_root ("FILE: KEY: expected 'A', got 'B'"), and one per file
// it has no item for; empty when every value is as expected.
QStringList differing_values(MetadataStore &store, const QString &samples_root, const QList<ExpectedFile> &expected);

#endif // SAMPLE_COMPARISON_H
