#ifndef PROGRESS_LINE_H
#define PROGRESS_LINE_H

#include <QString>

// Tells the host how far a run has come:
// "Record:" "<label>" && <count> && "<total>" on the debug output.
void print_progress_line(const QString &label, int count, const QString &total);

#endif // PROGRESS_LINE_H
