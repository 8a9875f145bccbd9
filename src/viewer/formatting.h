#pragma once

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

// Seconds as the time labels show them: "0:05", "59:59", "1:00:00", "100:00:00". Values that
// cannot be shown (not finite, negative) read "0:00"; seconds are truncated, never rounded up.
[[nodiscard]] QString formatTime(double seconds);
// A playback rate with two decimals and the multiplication sign: "1.00×", "0.50×".
[[nodiscard]] QString formatRate(float rate);
// The volume as a whole percentage, halves away from zero in 32-bit arithmetic: 0.006 is 1.
[[nodiscard]] qint64 volumePercent(float volume);

// The same formats for the views.
class Formats : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    using QObject::QObject;

    Q_INVOKABLE static QString time(double seconds) { return formatTime(seconds); }
    Q_INVOKABLE static QString rate(float rate) { return formatRate(rate); }
    Q_INVOKABLE static QString volume(float volume)
    {
        return QString::number(volumePercent(volume)) + QLatin1Char('%');
    }
};
