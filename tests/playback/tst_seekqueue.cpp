// The seek queue alone: one seek at a time, only the newest target kept, exact requests at once.
#include "seekqueue.h"
#include "testsupport.h"

#include <QTest>

class TestSeekQueue : public QObject {
    Q_OBJECT

private slots:
    // One word per event: "a<s>"/"x<s>" ask for an approximate/exact seek to s, "d" asks to be
    // told when drained, "c"/"C" complete the approximate/exact seek in flight. `sent` lists
    // what went to the player and "drained" where the queue said so.
    void sendsOnlyTheNewestTarget_data()
    {
        const auto row = textColumns("events", "sent");
        row("a drag", "a1 a2 a3 c a4 c c", "a1 a3 a4");
        row("exact goes out at once", "a1 a2 x5 c C", "a1 x5");
        row("a target waiting behind an exact seek goes exact", "x1 a2 C C", "x1 x2");
        row("a release drains once", "a1 a2 d x2 c C c", "a1 x2 drained");
        row("drained after the last target", "a1 d a2 c c", "a1 a2 drained");
    }

    void sendsOnlyTheNewestTarget()
    {
        QFETCH(QString, events);
        QFETCH(QString, sent);
        QStringList seen;
        SeekQueue queue([&seen](double s, bool exact) {
            seen << (exact ? QLatin1Char('x') : QLatin1Char('a')) + QString::number(s);
        });
        for (const QString &e : events.split(QLatin1Char(' '))) {
            if (e == QLatin1String("d"))
                queue.whenDrained([&seen] { seen << QStringLiteral("drained"); });
            else if (e.size() == 1)
                queue.completed(e == QLatin1String("C"));
            else
                queue.seek(e.mid(1).toDouble(), e[0] == QLatin1Char('x'));
        }
        QCOMPARE(seen.join(QLatin1Char(' ')), sent);
    }
};

QTEST_APPLESS_MAIN(TestSeekQueue)
#include "tst_seekqueue.moc"
