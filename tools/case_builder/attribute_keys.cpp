#include "attribute_keys.h"

#include "spotlight_keys.h"

#include <QRegularExpression>

#include <algorithm>

QStringList AttributeKeys::default_keys()
{
    return {
        QLatin1String(spotlight_keys::fs_name),
        QLatin1String(spotlight_keys::display_name),
        QLatin1String(spotlight_keys::path),
        QLatin1String(spotlight_keys::fs_size),
        QLatin1String(spotlight_keys::fs_creation_date),
        QLatin1String(spotlight_keys::fs_content_change_date),
        QLatin1String(spotlight_keys::content_creation_date),
        QLatin1String(spotlight_keys::content_modification_date),
        QLatin1String(spotlight_keys::last_used_date),
        QLatin1String(spotlight_keys::used_dates),
        QLatin1String(spotlight_keys::use_count),
        QLatin1String(spotlight_keys::date_added),
        QLatin1String(spotlight_keys::where_froms),
        QLatin1String(spotlight_keys::user_tags),
        QLatin1String(spotlight_keys::kind),
        QLatin1String(spotlight_keys::content_type),
        QLatin1String(spotlight_keys::fs_owner_user_id),
        QLatin1String(spotlight_keys::fs_owner_group_id),
        QLatin1String(spotlight_keys::authors),
        QLatin1String(spotlight_keys::title),
    };
}

bool AttributeKeys::parse(const QString &comma_separated, AttributeKeys *keys, QString *error)
{
    // The worker splices column names into its statements between single
    // quotes, and the host joins lists with "[(@@)]": keep keys to the
    // characters Spotlight keys are made of.
    static const QRegularExpression key_pattern(QStringLiteral("^[A-Za-z0-9_.:-]+$"));
    // The result tables' own columns; SQLite compares column names without case.
    static const QStringList host_columns = {QStringLiteral("int"),
                                             QStringLiteral("filesystem_record")};

    QStringList parsed;
    QStringList lower_case;
    for (const QString &item : comma_separated.split(QLatin1Char(','))) {
        const QString key = item.trimmed();
        if (key.isEmpty()) {
            *error = QStringLiteral("empty attribute key in \"%1\"").arg(comma_separated);
            return false;
        }
        if (!key_pattern.match(key).hasMatch()) {
            *error = QStringLiteral("attribute key \"%1\" may hold only letters, digits and _ . : -")
                         .arg(key);
            return false;
        }
        if (host_columns.contains(key.toLower())) {
            *error = QStringLiteral("attribute key \"%1\" would clash with the result table's own column")
                         .arg(key);
            return false;
        }
        if (lower_case.contains(key.toLower())) {
            *error = QStringLiteral("attribute key \"%1\" is listed twice").arg(key);
            return false;
        }
        parsed << key;
        lower_case << key.toLower();
    }
    *keys = AttributeKeys(parsed);
    return true;
}

AttributeKeys::AttributeKeys(const QStringList &keys)
    : key_list(keys)
{
}

QStringList AttributeKeys::column_names() const
{
    QStringList columns = key_list;
    const bool a_key_contains_another = std::any_of(
        key_list.cbegin(), key_list.cend(), [this](const QString &key) {
            return std::any_of(key_list.cbegin(), key_list.cend(), [&key](const QString &other) {
                return other != key && other.contains(key);
            });
        });
    if (!a_key_contains_another)
        return columns;
    std::stable_sort(columns.begin(), columns.end(),
                     [](const QString &a, const QString &b) { return a.size() < b.size(); });
    return columns;
}
