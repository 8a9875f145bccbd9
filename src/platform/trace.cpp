#include "trace.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace Trace {

bool enabled()
{
    static const bool on = [] {
        const char *v = std::getenv("LUNELO_TRACE");
        return v && *v && !(v[0] == '0' && v[1] == '\0');
    }();
    return on;
}

double now()
{
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) / 1e9;
}

void event(const char *name, const QString &detail)
{
    if (enabled())
        eventAt(now(), name, detail);
}

void eventAt(double seconds, const char *name, const QString &detail)
{
    if (!enabled())
        return;
    QByteArray text = detail.toUtf8();
    text.replace('\\', "\\\\").replace('\n', "\\n").replace('\r', "\\r");
    // One fprintf per line: stdio locks the stream, so lines of different threads never mix.
    std::fprintf(stderr, "lunelo-trace %.6f %s%s%s\n", seconds, name, text.isEmpty() ? "" : " ",
                 text.constData());
    std::fflush(stderr);
}

} // namespace Trace
