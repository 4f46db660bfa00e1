#include "RandomConfig.h"

#include <bit>
#include <cmath>
#include <limits>

namespace corvane::testing {

namespace {

QString randomText(QRandomGenerator &rng)
{
    static const char32_t specials[] = {U'"',   U'\\',  U'/', U'\'',   U'\b', U'\n',
                                        U'\t',  0x00,   0x1F, 0x7F,    0x85,  0x2028,
                                        0x200B, 0xFEFF, U'é', 0x1F600, U'$',  U' '};
    QString text;
    for (int i = rng.bounded(0, 12); i > 0; --i) {
        char32_t c = specials[rng.bounded(quint32(std::size(specials)))];
        if (rng.bounded(2) == 0) {
            do // any scalar value: surrogate code points are not characters
                c = rng.bounded(0x110000u);
            while (c >= 0xD800 && c <= 0xDFFF);
        }
        text.append(QString::fromUcs4(&c, 1));
    }
    return text;
}

double randomDelay(QRandomGenerator &rng)
{
    static const double specials[] = {0.0,
                                      -0.0,
                                      0.1,
                                      2.5,
                                      1e-4,
                                      9.99e-5,
                                      9007199254740992.0,
                                      9007199254740994.0,
                                      std::numeric_limits<double>::max(),
                                      std::numeric_limits<double>::denorm_min()};
    if (rng.bounded(3) == 0)
        return specials[rng.bounded(quint32(std::size(specials)))];
    // Arbitrary bit patterns reach subnormals and both ends of the exponent range.
    double value = 0;
    do
        value = std::bit_cast<double>(rng.generate64());
    while (!std::isfinite(value));
    return value;
}

} // namespace

AppConfig randomConfig(QRandomGenerator &rng, int maxGroups)
{
    AppConfig config{allTerminalApps[rng.bounded(quint32(allTerminalApps.size()))], {}};
    for (int g = rng.bounded(0, maxGroups + 1); g > 0; --g) {
        TabGroup group{QUuid::createUuid(), randomText(rng), {}, std::nullopt};
        for (int s = rng.bounded(0, 5); s > 0; --s)
            group.commands.append({QUuid::createUuid(), randomText(rng), randomDelay(rng)});
        if (rng.bounded(3) > 0)
            group.packedOverride = rng.bounded(2) ? randomText(rng) : QString();
        config.groups.append(group);
    }
    return config;
}

AppConfig sizedConfig(int groupCount, int stepCount)
{
    AppConfig config{TerminalApp::kitty, {}};
    for (int g = 0; g < groupCount; ++g) {
        TabGroup group{QUuid::createUuid(), QStringLiteral("Window %1").arg(g + 1), {}, {}};
        for (int s = 0; s < stepCount; ++s) {
            group.commands.append(
                {QUuid::createUuid(),
                 QStringLiteral("cd ~/src/project-%1 && npm run \"dev:%2\"").arg(g).arg(s),
                 s % 2 == 0 ? 0.0 : 1.5});
        }
        config.groups.append(group);
    }
    return config;
}

} // namespace corvane::testing
