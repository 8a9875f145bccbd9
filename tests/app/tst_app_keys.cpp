// The keys in the running application, pressed as real X key events, on the US layout and on
// the French one, where the same keys type other characters.
#include "appdriver.h"
#include "testsupport.h"

#include <QTemporaryDir>
#include <QTest>

namespace {

bool setLayout(const QString &layout)
{
    return QProcess::execute(QStringLiteral("setxkbmap"), {layout}) == 0;
}

// Presses `keysym` in the focused window; whether the trace then shows a line starting with
// `expected`.
bool press(AppDriver &app, const QString &keysym, const QString &expected)
{
    const int mark = app.traceCount();
    AppDriver::xdotool({QStringLiteral("key"), keysym});
    return app.waitForTrace(expected, 10000, mark) >= 0;
}

// Presses `keysym`; whether the playhead then jumps to a time within `low` … `high` seconds.
bool pressToJump(AppDriver &app, const QString &keysym, double low, double high)
{
    int from = app.traceCount();
    AppDriver::xdotool({QStringLiteral("key"), keysym});
    for (int found; (found = app.waitForTrace(QStringLiteral("jump "), 10000, from)) >= 0;
         from = found + 1) {
        const double to = app.trace()[found].section(QLatin1Char(' '), 1, 1).toDouble();
        if (to >= low && to <= high)
            return true;
    }
    return false;
}

} // namespace

class TestAppKeys : public QObject {
    Q_OBJECT

    QTemporaryDir m_folder;

    QString video(const QString &name) const { return m_folder.filePath(name); }

private slots:
    void initTestCase()
    {
        for (const char *name : {"v1.mp4", "v2.mp4", "v10.mp4"})
            QVERIFY(QFile::copy(testMedia(QStringLiteral("long.mp4")), video(name)));
        QVERIFY(makeFiles(m_folder.path(), {"notes.txt"}));
    }

    void cleanup() { setLayout(QStringLiteral("us")); }

    void keysDriveThePlayer_data()
    {
        QTest::addColumn<QString>("layout");
        QTest::addColumn<QString>("muteKey"); // what the key at the US "M" position types
        QTest::newRow("US") << "us"
                            << "m";
        QTest::newRow("French AZERTY") << "fr"
                                       << "comma";
    }

    void keysDriveThePlayer()
    {
        QFETCH(QString, layout);
        QFETCH(QString, muteKey);
        QVERIFY(setLayout(layout));
        AppDriver app;
        QVERIFY(app.start({video(QStringLiteral("v1.mp4"))}));
        QVERIFY(app.waitForTrace(QStringLiteral("playing")) >= 0);
        app.activate();

        QVERIFY(press(app, QStringLiteral("space"), QStringLiteral("paused")));
        QVERIFY(press(app, QStringLiteral("space"), QStringLiteral("playing")));
        QVERIFY(pressToJump(app, QStringLiteral("Right"), 9.5, 30));
        QVERIFY(pressToJump(app, QStringLiteral("Left"), 0, 5));

        // It mutes and does not step a frame back (which would pause).
        const int mark = app.traceCount();
        QVERIFY(press(app, muteKey, QStringLiteral("muted")));
        QVERIFY(!app.trace().mid(mark).join('\n').contains(QLatin1String("paused")));

        const std::pair<const char *, const char *> steps[] = {
            {"Down", "v2.mp4"}, {"Down", "v10.mp4"}, {"Down", "v1.mp4"},
            {"Up", "v10.mp4"},  {"Up", "v2.mp4"},
        };
        for (const auto &[key, file] : steps) {
            QVERIFY2(press(app, QString::fromLatin1(key), QStringLiteral("url ") + video(file)),
                     file);
        }
    }
};

QTEST_MAIN(TestAppKeys)
#include "tst_app_keys.moc"
