#pragma once

#include "AppConfig.h"

#include <QObject>
#include <QString>

#include <functional>

namespace corvane {

// Owns the live configuration: loads it once at start, and writes it back when asked.
// A failed save leaves the file as it was and is reported through saveError().
class ConfigStore final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ConfigStore)

public:
    // Creates "Corvane" under `applicationSupportDirectory`, takes over "Lumaret/config.json"
    // when "Corvane/config.json" is missing, and loads it (or the default configuration).
    // Writes nothing.
    explicit ConfigStore(const QString &applicationSupportDirectory, QObject *parent = nullptr);

    const AppConfig &config() const { return m_config; }
    // Replaces the whole value; announces configChanged() only when it differs.
    void setConfig(const AppConfig &config);
    // Applies `edit` to a copy and takes the result as setConfig() does. True when it changed.
    bool update(const std::function<void(AppConfig &)> &edit);

    // Writes the current configuration atomically to fileUrl(). False when nothing was written.
    bool save();
    // Why the last save failed, in words for the user; empty once a save has succeeded.
    QString saveError() const { return m_saveError; }

    QString fileUrl() const { return m_filePath; }

Q_SIGNALS:
    void configChanged();
    // saveError() changed: a save failed, or succeeded after one that failed.
    void saveErrorChanged();

private:
    QString m_filePath;
    AppConfig m_config;
    bool m_keepUnreadableCopy = false;
    QString m_saveError;

    bool fail(const QString &reason);
};

} // namespace corvane
