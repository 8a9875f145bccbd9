// The Linux panels as the user meets them, on a desktop whose file chooser is GTK's: the video
// panel is the desktop's, the folder panel with its message Qt's own. And folder access outside
// a sandbox.
#include "filepanels.h"
#include "folderaccess.h"
#include "testsupport.h"

#include <QApplication>
#include <QFileDialog>
#include <QLabel>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

class TestFilePanels : public QObject {
    Q_OBJECT

private slots:
    void panelsShowTheirTextsAndReturnTheChoice_data()
    {
        QTest::addColumn<int>("choice");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("choose"); // empty: cancel
        QTest::newRow("a video") << int(FilePanels::Choice::VideoFile) << ""
                                 << "clip.MKV";
        QTest::newRow("a folder") << int(FilePanels::Choice::Folder) << "Por quê."
                                  << "Filmes";
        QTest::newRow("cancelled") << int(FilePanels::Choice::VideoFile) << ""
                                   << "";
    }

    void panelsShowTheirTextsAndReturnTheChoice()
    {
        QFETCH(int, choice);
        QFETCH(QString, message);
        QFETCH(QString, choose);
        QTemporaryDir root;
        QVERIFY(makeFiles(root.path(), {"clip.MKV", "notes.txt"}));
        QVERIFY(QDir(root.path()).mkdir(QStringLiteral("Filmes")));
        const FilePanels::OpenPanel panel{FilePanels::Choice(choice), QStringLiteral("Título"),
                                          QStringLiteral("Sim"), message,
                                          QUrl::fromLocalFile(root.path())};
        QStringList seen; // what the user sees, read while the panel is up
        QTimer look;
        bool found = false;
        connect(&look, &QTimer::timeout, this, [&] {
            QFileDialog *dialog = nullptr;
            for (QWidget *widget : QApplication::topLevelWidgets())
                dialog = dialog ? dialog : qobject_cast<QFileDialog *>(widget);
            if (!dialog || !std::exchange(found, true))
                return; // the desktop's chooser shows itself a moment later
            look.stop();
            seen << dialog->windowTitle() << dialog->labelText(QFileDialog::Accept)
                 << dialog->directory().path() << dialog->nameFilters().join(' ');
            for (QLabel *label : dialog->findChildren<QLabel *>())
                seen << (label->isVisible() ? label->text() : QString());
            if (choose.isEmpty())
                return dialog->reject();
            if (panel.choice == FilePanels::Choice::Folder) {
                dialog->setDirectory(root.filePath(choose)); // in it, as the user goes
            } else {
                if (QWidget *focused = dialog->focusWidget())
                    focused->clearFocus(); // Qt's own takes no selection while its name has it
                dialog->selectFile(root.filePath(choose));
            }
            static_cast<QDialog *>(dialog)->accept(); // as the confirming button does
        });
        look.start(200);
        const std::optional<QUrl> chosen = createFilePanels()->runModal(panel);

        QVERIFY(seen.size() >= 4);
        QCOMPARE(seen.mid(0, 3), (QStringList{panel.title, panel.prompt, root.path()}));
        QVERIFY(message.isEmpty() || seen.contains(message));
        QCOMPARE(seen[3].contains(QLatin1String("*.mkv")),
                 panel.choice == FilePanels::Choice::VideoFile);
        QVERIFY(!seen[3].contains(QLatin1String("*.txt")));
        QCOMPARE(chosen.value_or(QUrl()),
                 choose.isEmpty() ? QUrl() : QUrl::fromLocalFile(root.filePath(choose)));
    }

    void linuxOutsideFlatpakConfinesNothing()
    {
        if (QFileInfo::exists(QStringLiteral("/.flatpak-info")))
            QSKIP("inside Flatpak");
        QTemporaryDir root;
        const std::unique_ptr<FolderAccess> access = createFolderAccess();
        QVERIFY(!access->isSandboxed());
        QVERIFY(access->startAccessing(QUrl::fromLocalFile(QStringLiteral("/nada/aqui.mp4"))));
        const QByteArray bookmark =
            access->createBookmark(QUrl::fromLocalFile(root.path())).value();
        QCOMPARE(bookmark, root.path().toUtf8()); // the folder's path
        QCOMPARE(access->resolveBookmark(bookmark)->url, QUrl::fromLocalFile(root.path()));
        root.remove();
        QVERIFY(!access->resolveBookmark(bookmark)); // gone with its folder
    }
};

QTEST_MAIN(TestFilePanels)
#include "tst_filepanels.moc"
