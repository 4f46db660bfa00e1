#pragma once

#include "AppConfig.h"

#include <QByteArray>

#include <optional>

namespace corvane {

// The config.json form of an AppConfig: sorted keys, pretty-printed in Foundation's layout.
class ConfigCodec final {
public:
    ConfigCodec() = delete;

    // The document bytes, or nothing when a delay is not a finite number.
    static std::optional<QByteArray> encode(const AppConfig &config);
    // The configuration, or nothing when the document is unreadable; then `reason` (when given)
    // says where and why, e.g. "line 3, column 7: missing value separator".
    static std::optional<AppConfig> decode(const QByteArray &bytes, QString *reason = nullptr);
};

} // namespace corvane
