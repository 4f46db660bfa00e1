#pragma once

#include "AppConfig.h"

#include <QObject>
#include <QString>

#include <functional>
#include <optional>

namespace corvane {

// Owns the live configuration: loads it once at start, and writes it back when asked.
// A failed save leaves the file as it was and is reported through saveError().
class ConfigStore final : public QObject {
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ConfigStore)

public:
    // Creates "Corvane" under `applicationSupportDirectory`, takes over "Lumaret/config.json"
    // when "Corvane/config.json" is missing, and loads it (or the default configuration).
    // Writes nothing but that copy.
    explicit ConfigStore(const QString &applicationSupportDirectory, QObject *parent = nullptr);

    const AppConfig &config() const { return m_config; }
    // Replaces the whole value; announces configChanged() only when it differs.
    void setConfig(const AppConfig &config);
    // Applies `edit` to a copy and takes the result as setConfig() does. True when it changed.
    bool update(const std::function<void(AppConfig &)> &edit);

    // Writes the current configuration atomically to filePath(). False when nothing was written.
    bool save();
    // Why the last save failed, in words for the user; empty once a save has succeeded.
    QString saveError() const { return m_saveError; }

    QString filePath() const { return m_filePath; }

    // Why config.json could not be read at start, e.g. "line 3, column 7: missing value
    // separator"; empty when it was read or was not there, and after a save. Until then the
    // default configuration is used.
    QString loadError() const { return m_loadError; }
    // True when there was no configuration at all at start (no config.json, nothing taken over).
    bool isFirstStart() const { return m_firstStart; }
    // Whether anything is at filePath() now.
    bool hasFile() const;

Q_SIGNALS:
    void configChanged();
    // saveError() changed: a save failed, or succeeded after one that failed.
    void saveErrorChanged();

private:
    QString m_filePath;
    AppConfig m_config;
    // The unreadable file's bytes, kept beside it at the first save so that nothing is lost.
    std::optional<QByteArray> m_unreadable;
    QString m_saveError;
    QString m_loadError;
    bool m_firstStart = false;

    bool fail(const QString &reason);
};

} // namespace corvane
