#include "framestring.h"

#include <QRegularExpression>

namespace {

QString number(double v)
{
    // Like printf's %g: whole numbers without a fraction.
    return QString::number(v, 'g', 12);
}

} // namespace

QString rectString(const QRectF &rect)
{
    return QStringLiteral("{{%1, %2}, {%3, %4}}")
        .arg(number(rect.x()), number(rect.y()), number(rect.width()), number(rect.height()));
}

QRectF rectFromString(const QString &text)
{
    static const QRegularExpression numberPattern(
        QStringLiteral(R"([-+]?(?:\d+\.?\d*|\.\d+)(?:[eE][-+]?\d+)?)"));
    double values[4] = {0, 0, 0, 0};
    int count = 0;
    auto matches = numberPattern.globalMatch(text);
    while (count < 4 && matches.hasNext()) {
        bool ok = false;
        const double v = matches.next().captured().toDouble(&ok);
        values[count++] = ok && qIsFinite(v) ? v : 0.0;
    }
    return {values[0], values[1], values[2], values[3]};
}

QRectF flipped(const QRectF &rect, double screenHeight)
{
    return {rect.x(), screenHeight - rect.y() - rect.height(), rect.width(), rect.height()};
}
