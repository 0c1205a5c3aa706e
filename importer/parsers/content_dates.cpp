#include "content_dates.h"

#include <QDate>
#include <QDateTime>
#include <QRegularExpression>
#include <QTime>

namespace {

// A zone offset ("Z", "+02:00", "-0530") in seconds east of UTC.
std::optional<int> offset_seconds(const QString &zone)
{
    if (zone.isEmpty() || zone == QLatin1String("Z"))
        return 0;
    static const QRegularExpression pattern(QStringLiteral("^([+-])(\\d{2}):?(\\d{2})$"));
    const QRegularExpressionMatch match = pattern.match(zone);
    if (!match.hasMatch())
        return std::nullopt;
    const int hours = match.captured(2).toInt();
    const int minutes = match.captured(3).toInt();
    if (hours > 18 || minutes > 59)
        return std::nullopt;
    const int seconds = hours * 3600 + minutes * 60;
    return match.captured(1) == QLatin1String("-") ? -seconds : seconds;
}

std::optional<double> seconds_since_1970(const QDate &date, const QTime &time, int offset,
                                         double fraction)
{
    if (!date.isValid() || !time.isValid())
        return std::nullopt;
    // The wall-clock time read as UTC, then moved back by the zone's lead.
    const QDateTime wall_clock(date, time, Qt::UTC);
    if (!wall_clock.isValid())
        return std::nullopt;
    return double(wall_clock.toSecsSinceEpoch() - offset) + fraction;
}

} // namespace

QTimeZone examiner_zone()
{
    // Looked up again only when TZ changes: without TZ, the system's zone
    // is found by reading /etc/localtime, several times the cost of
    // reading a photo's date.
    thread_local std::optional<QByteArray> zone_variable;
    thread_local QTimeZone zone;
    const QByteArray variable = qgetenv("TZ");
    if (!zone_variable || *zone_variable != variable) {
        zone = QTimeZone::systemTimeZone();
        if (!zone.isValid())
            zone = QTimeZone::utc();
        zone_variable = variable;
    }
    return zone;
}

std::optional<double> camera_time_seconds(const QString &date_time, const QString &offset)
{
    // Cameras pad unset fields with blanks or zeros; such a time says nothing.
    static const QRegularExpression pattern(
        QStringLiteral("^(\\d{4}):(\\d{2}):(\\d{2}) (\\d{2}):(\\d{2}):(\\d{2})$"));
    const QRegularExpressionMatch match = pattern.match(date_time.trimmed());
    if (!match.hasMatch())
        return std::nullopt;
    const QDate date(match.captured(1).toInt(), match.captured(2).toInt(), match.captured(3).toInt());
    const QTime time(match.captured(4).toInt(), match.captured(5).toInt(), match.captured(6).toInt());
    if (offset.trimmed().isEmpty()) {
        if (!date.isValid() || !time.isValid())
            return std::nullopt;
        const QDateTime local(date, time, examiner_zone());
        if (!local.isValid())
            return std::nullopt;
        return double(local.toSecsSinceEpoch());
    }
    const std::optional<int> zone = offset_seconds(offset.trimmed());
    if (!zone)
        return std::nullopt;
    return seconds_since_1970(date, time, *zone, 0.0);
}

std::optional<double> iso_time_seconds(const QString &text)
{
    static const QRegularExpression pattern(QStringLiteral(
        "^(\\d{4})-(\\d{2})-(\\d{2})"
        "(?:[T ](\\d{2}):(\\d{2})(?::(\\d{2})(?:[.,](\\d{1,9}))?)?)?"
        "(Z|[+-]\\d{2}:?\\d{2})?$"));
    const QRegularExpressionMatch match = pattern.match(text.trimmed());
    if (!match.hasMatch())
        return std::nullopt;
    const std::optional<int> zone = offset_seconds(match.captured(8));
    if (!zone)
        return std::nullopt;
    const QDate date(match.captured(1).toInt(), match.captured(2).toInt(), match.captured(3).toInt());
    const QTime time(match.captured(4).toInt(), match.captured(5).toInt(), match.captured(6).toInt());
    const QString digits = match.captured(7);
    const double fraction = digits.isEmpty() ? 0.0 : QStringLiteral("0.%1").arg(digits).toDouble();
    return seconds_since_1970(date, time, *zone, fraction);
}
