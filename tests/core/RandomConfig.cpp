#include "RandomConfig.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace corvane::testing {

QString randomText(QRandomGenerator &rng)
{
    static const char32_t specials[] = {
        U'"',   U'\\',   U'/',    U'\'',    U'\b',  U'\f',  U'\n',  U'\r',  U'\t', 0x00, 0x01,
        0x1F,   0x7F,    0x85,    0xA0,     0x2028, 0x2029, 0x200B, 0xFEFF, U'é',  U'ß', 0x4E2D,
        0xFFFD, 0x1F600, 0x10000, 0x10FFFF, U'$',   U'`',   U' ',   U'&',   U';',  U'~',
    };
    const int length = rng.bounded(0, 12);
    QString text;
    for (int i = 0; i < length; ++i) {
        char32_t c = 0;
        switch (rng.bounded(4)) {
        case 0:
            c = specials[rng.bounded(static_cast<quint32>(std::size(specials)))];
            break;
        case 1: {
            // Any scalar value; surrogate code points are not characters.
            do {
                c = rng.bounded(0x110000u);
            } while (c >= 0xD800 && c <= 0xDFFF);
            break;
        }
        default:
            c = static_cast<char32_t>(rng.bounded(0x20, 0x7F));
            break;
        }
        text.append(QString::fromUcs4(&c, 1));
    }
    return text;
}

double randomDelay(QRandomGenerator &rng)
{
    static const double specials[] = {
        0.0,
        -0.0,
        2.0,
        1.5,
        0.1,
        0.3,
        1e-4,
        9.99e-5,
        1e-5,
        9007199254740992.0,
        9007199254740994.0,
        1e15,
        1e16,
        -1.0,
        std::numeric_limits<double>::max(),
        std::numeric_limits<double>::lowest(),
        std::numeric_limits<double>::min(),
        std::numeric_limits<double>::denorm_min(),
        1.0 / 3.0,
    };
    switch (rng.bounded(4)) {
    case 0:
        return specials[rng.bounded(static_cast<quint32>(std::size(specials)))];
    case 1:
        return rng.bounded(0, 100) / 4.0;
    case 2:
        return rng.generateDouble() * std::pow(10.0, rng.bounded(-8, 20));
    default: {
        // Arbitrary bit patterns reach subnormals and the far ends of the exponent range.
        double value = 0;
        do {
            value = std::bit_cast<double>(rng.generate64());
        } while (!std::isfinite(value));
        return value;
    }
    }
}

AppConfig randomConfig(QRandomGenerator &rng, int maxGroups)
{
    AppConfig config;
    config.terminalApp = allTerminalApps[rng.bounded(static_cast<quint32>(allTerminalApps.size()))];
    config.groups.clear();
    const int groupCount = rng.bounded(0, maxGroups + 1);
    for (int g = 0; g < groupCount; ++g) {
        TabGroup group;
        group.name = randomText(rng);
        group.commands.clear();
        const int stepCount = rng.bounded(0, 5);
        for (int s = 0; s < stepCount; ++s)
            group.commands.append(
                CommandStep{QUuid::createUuid(), randomText(rng), randomDelay(rng)});
        switch (rng.bounded(3)) {
        case 0:
            group.packedOverride = randomText(rng);
            break;
        case 1:
            group.packedOverride = QString();
            break;
        default:
            break;
        }
        config.groups.append(group);
    }
    return config;
}

AppConfig sizedConfig(int groupCount, int stepCount)
{
    AppConfig config;
    config.terminalApp = TerminalApp::kitty;
    config.groups.clear();
    for (int g = 0; g < groupCount; ++g) {
        TabGroup group;
        group.name = QStringLiteral("Window %1").arg(g + 1);
        group.commands.clear();
        for (int s = 0; s < stepCount; ++s) {
            group.commands.append(CommandStep{
                QUuid::createUuid(),
                QStringLiteral("cd ~/src/project-%1 && npm run \"dev:%2\"").arg(g).arg(s),
                s % 2 == 0 ? 0.0 : 1.5});
        }
        config.groups.append(group);
    }
    return config;
}

} // namespace corvane::testing
