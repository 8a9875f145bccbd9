// The Linux panels as the user meets them, on a desktop whose file chooser is GTK's: the
// video panel is the desktop's, the folder panel with its message Qt's own. And the Linux
// folder access outside a sandbox.
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
        // What the user sees, read while the panel is up; checked once it is closed.
        struct Seen {
            QString title, prompt, directory, filters;
            QFileDialog::FileMode mode = QFileDialog::AnyFile;
            bool message = false;
        };
        std::optional<Seen> seen;
        QTimer look; // until the panel is up, Qt's own or the desktop's
        bool found = false;
        look.start(200);
        connect(&look, &QTimer::timeout, this, [&] {
            QFileDialog *dialog = nullptr;
            for (QWidget *widget : QApplication::topLevelWidgets())
                dialog = dialog ? dialog : qobject_cast<QFileDialog *>(widget);
            if (!dialog || !std::exchange(found, true))
                return; // the desktop's chooser shows itself a moment later
            look.stop();
            const QList<QLabel *> labels = dialog->findChildren<QLabel *>();
            seen = Seen{dialog->windowTitle(),
                        dialog->labelText(QFileDialog::Accept),
                        dialog->directory().path(),
                        dialog->nameFilters().join(' '),
                        dialog->fileMode(),
                        std::any_of(labels.begin(), labels.end(), [&](QLabel *label) {
                            return label->text() == message && label->isVisible();
                        })};
            if (choose.isEmpty()) {
                dialog->reject();
                return;
            }
            if (panel.choice == FilePanels::Choice::Folder) {
                dialog->setDirectory(root.filePath(choose)); // in it, as the user goes
            } else {
                // Qt's own dialog takes no selection while its name field has the focus.
                if (QWidget *focused = dialog->focusWidget())
                    focused->clearFocus();
                dialog->selectFile(root.filePath(choose));
            }
            static_cast<QDialog *>(dialog)->accept(); // as the confirming button does
        });
        const std::optional<QUrl> chosen = createFilePanels()->runModal(panel);

        QVERIFY(seen);
        QCOMPARE(seen->title, panel.title);
        QCOMPARE(seen->prompt, panel.prompt);
        QCOMPARE(seen->directory, root.path());
        QCOMPARE(seen->message, !message.isEmpty());
        if (panel.choice == FilePanels::Choice::VideoFile) {
            QCOMPARE(seen->mode, QFileDialog::ExistingFile);
            for (const char *video : {"*.mp4", "*.mkv", "*.mov", "*.webm", "*.m2ts", "*.3gp"})
                QVERIFY2(seen->filters.contains(QLatin1String(video)), video);
            QVERIFY(!seen->filters.contains(QLatin1String("*.txt")));
            QVERIFY(!seen->filters.contains(QLatin1String("*.mp3")));
        } else {
            QCOMPARE(seen->mode, QFileDialog::Directory);
        }
        if (choose.isEmpty())
            QVERIFY(!chosen);
        else
            QCOMPARE(chosen, QUrl::fromLocalFile(root.filePath(choose)));
    }

    void linuxOutsideFlatpakConfinesNothing()
    {
        if (QFileInfo::exists(QStringLiteral("/.flatpak-info")))
            QSKIP("inside Flatpak");
        QTemporaryDir root;
        const QUrl folder = QUrl::fromLocalFile(root.path());
        const std::unique_ptr<FolderAccess> access = createFolderAccess();
        QVERIFY(!access->isSandboxed());
        QVERIFY(access->startAccessing(QUrl::fromLocalFile(QStringLiteral("/nada/aqui.mp4"))));
        const QByteArray bookmark = access->createBookmark(folder).value_or(QByteArray());
        QCOMPARE(bookmark, root.path().toUtf8()); // the folder's path
        QCOMPARE(access->resolveBookmark(bookmark).value_or(FolderAccess::Resolved{}).url, folder);
        root.remove();
        QVERIFY(!access->resolveBookmark(bookmark)); // gone with its folder
    }
};

QTEST_MAIN(TestFilePanels)
#include "tst_filepanels.moc"
