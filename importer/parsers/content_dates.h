#ifndef CONTENT_DATES_H
#define CONTENT_DATES_H

#include <QString>
#include <QTimeZone>

#include <optional>

// Dates as content formats write them, turned into seconds since
// 1970-01-01 UTC; nothing for text that is not a whole, valid date.

// "YYYY:MM:DD HH:MM:SS" as cameras record it, with the separate offset
// text ("+02:00") when the camera recorded one. Without an offset the
// time is read in the examiner's zone, as a Mac reads it in its own.
std::optional<double> camera_time_seconds(const QString &date_time, const QString &offset);

// The examiner's zone as the system gives it (TZ, else /etc/localtime);
// UTC when neither names a zone the system knows.
QTimeZone examiner_zone();

// An ISO 8601 date or date and time ("2023-04-05", "2023-04-05T10:20:30Z",
// "2023-04-05T10:20:30.123456+02:00"); without a zone, taken as UTC.
std::optional<double> iso_time_seconds(const QString &text);

#endif // CONTENT_DATES_H
