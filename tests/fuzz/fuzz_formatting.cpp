// The time labels for any number of seconds: hours, minutes and seconds in their ranges, the
// seconds never rounded up, and "0:00" for what cannot be shown. Rates and volumes as labels.
#include "formatting.h"
#include "fuzzcheck.h"

#include <QRegularExpression>

#include <cmath>
#include <cstdint>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    double seconds = 0;
    std::memcpy(&seconds, data, std::min(size, sizeof seconds));
    const QString label = formatTime(seconds);
    const QString given = QString::number(seconds, 'g', 17);

    static const QRegularExpression form(
        QStringLiteral(R"(^(?:(\d+):([0-5]\d)|(\d+)):([0-5]\d)$)"));
    const QRegularExpressionMatch match = form.match(label);
    fuzzCheck(match.hasMatch(), "a time label is m:ss or h:mm:ss",
              given + QLatin1String(" → ") + label);
    const bool showable = std::isfinite(seconds) && seconds >= 0 && seconds < 9.2e18;
    if (!showable) {
        fuzzCheck(label == QLatin1String("0:00"), "what cannot be shown reads 0:00", given);
    } else {
        const qint64 hours = match.captured(1).toLongLong();
        const qint64 minutes = match.captured(1).isEmpty() ? match.captured(3).toLongLong()
                                                           : match.captured(2).toLongLong();
        const qint64 secs = match.captured(4).toLongLong();
        const qint64 shown = hours * 3600 + minutes * 60 + secs;
        fuzzCheck(shown == qint64(std::floor(seconds)), "a label shows the whole seconds",
                  given + QLatin1String(" → ") + label);
        fuzzCheck(match.captured(1).isEmpty() == (shown < 3600), "hours show from one hour on",
                  given + QLatin1String(" → ") + label);
        if (!match.captured(1).isEmpty())
            fuzzCheck(minutes < 60, "minutes stay below 60 beside hours", label);
    }

    // The next four bytes as a rate and a volume.
    float value = 0;
    if (size > sizeof seconds)
        std::memcpy(&value, data + sizeof seconds, std::min(size - sizeof seconds, sizeof value));
    const QString rate = formatRate(value);
    fuzzCheck(rate.endsWith(QChar(0xd7)), "a rate label ends in ×", rate);
    if (std::isfinite(value) && std::abs(value) < 1e6f) {
        fuzzCheck(std::abs(rate.chopped(1).toDouble() - double(value)) <= 0.005 + 1e-6,
                  "a rate label shows the rate in hundredths", rate);
    }
    if (value >= 0.0f && value <= 1.0f) {
        const qint64 percent = volumePercent(value);
        fuzzCheck(percent >= 0 && percent <= 100 &&
                      std::abs(double(percent) - value * 100.0) <= 0.5001,
                  "a volume shows as the nearest whole percentage", QString::number(percent));
    }
    return 0;
}
