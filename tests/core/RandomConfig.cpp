#include "RandomConfig.h"

#include <bit>
#include <cmath>

namespace corvane::testing {

namespace {

// Characters the JSON writer has to escape or must leave raw, and now and then any other.
QString randomText(QRandomGenerator &rng)
{
    static const char32_t specials[] = {U'"', U'\\', U'/', U'\'',  U'\b',  U'\n',  U'\t',  0x00,
                                        0x1F, 0x7F,  0x85, 0x2028, 0x200B, 0xFEFF, 0x1F600};
    QString text;
    for (int i = rng.bounded(0, 12); i > 0; --i) {
        char32_t c = specials[rng.bounded(quint32(std::size(specials)))];
        if (rng.bounded(2) == 0 && (c = rng.bounded(0x10F800u)) >= 0xD800)
            c += 0x800; // any scalar value, skipping the surrogates
        text.append(QString::fromUcs4(&c, 1));
    }
    return text;
}

// Quarter seconds, or arbitrary bit patterns for subnormals and both ends of the range.
double randomDelay(QRandomGenerator &rng)
{
    if (rng.bounded(2) == 0)
        return rng.bounded(0, 40) / 4.0;
    const double value = std::bit_cast<double>(rng.generate64());
    return std::isfinite(value) ? value : -0.0;
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
