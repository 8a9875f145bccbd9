#include "formatting.h"

#include <cmath>

QString formatTime(double seconds)
{
    // Negative zero is not below zero and reads "0:00" by the arithmetic below.
    if (!std::isfinite(seconds) || seconds < 0 || seconds >= 9.2e18)
        return QStringLiteral("0:00");
    const auto t = qint64(std::floor(seconds));
    const qint64 h = t / 3600;
    const qint64 m = (t % 3600) / 60;
    const qint64 s = t % 60;
    if (t < 3600)
        return QStringLiteral("%1:%2").arg(m).arg(s, 2, 10, QLatin1Char('0'));
    return QStringLiteral("%1:%2:%3")
        .arg(h)
        .arg(m, 2, 10, QLatin1Char('0'))
        .arg(s, 2, 10, QLatin1Char('0'));
}

QString formatRate(float rate)
{
    return QString::asprintf("%.2f\u00d7", double(rate));
}

qint64 volumePercent(float volume)
{
    return qint64(std::round(volume * 100.0f));
}
