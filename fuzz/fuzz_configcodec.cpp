// Every byte sequence must either decode or be refused, without crashing or hanging, and
// whatever decodes must survive a write and a second read unchanged.
#include "ConfigCodec.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

using namespace corvane;

namespace {

bool allDelaysFinite(const AppConfig &config)
{
    for (const TabGroup &group : config.groups) {
        for (const CommandStep &step : group.commands) {
            if (!std::isfinite(step.delayAfter))
                return false;
        }
    }
    return true;
}

[[noreturn]] void fail(const char *what)
{
    std::fprintf(stderr, "fuzz_configcodec: %s\n", what);
    std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const auto config = ConfigCodec::decode(bytes);
    if (!config)
        return 0;
    if (config->groups.isEmpty())
        fail("a decoded configuration has no groups");

    const auto encoded = ConfigCodec::encode(*config);
    if (!allDelaysFinite(*config)) {
        if (encoded)
            fail("a non-finite delay was encoded");
        return 0;
    }
    if (!encoded)
        fail("a finite configuration did not encode");
    const auto again = ConfigCodec::decode(*encoded);
    if (!again)
        fail("our own encoding is unreadable");
    if (!(*again == *config))
        fail("encode then decode changed the configuration");
    return 0;
}
