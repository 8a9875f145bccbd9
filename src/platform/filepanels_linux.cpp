#include "filepanels.h"
#include "folderaccess.h"

#include <QFileDialog>
#include <QGridLayout>
#include <QGuiApplication>
#include <QLabel>
#include <QMimeDatabase>
#include <QWindow>

#include <algorithm>

namespace {

// The file patterns of every video type the MIME database knows (video/*, and types derived
// from one), case-insensitive in the dialog.
QString videoNameFilter()
{
    static const QString filter = [] {
        const auto isVideo = [](const QString &name) {
            return name.startsWith(QLatin1String("video/"));
        };
        QStringList patterns;
        for (const QMimeType &type : QMimeDatabase().allMimeTypes()) {
            const QStringList ancestors = type.allAncestors();
            if (isVideo(type.name()) || std::any_of(ancestors.begin(), ancestors.end(), isVideo))
                patterns << type.globPatterns();
        }
        patterns.sort(Qt::CaseInsensitive);
        patterns.removeDuplicates();
        return QStringLiteral("Vídeos (%1)").arg(patterns.join(QLatin1Char(' ')));
    }();
    return filter;
}

// Qt's own dialog has no place for a message: it goes in a line below the file list, once the
// dialog built its widgets. The desktop's choosers (GTK's, the portal's) have none at all, so a
// panel with a message is Qt's own; except in Flatpak, where only the portal's chooser reaches
// the folder, and the message follows the title, the one text every chooser shows.
class MessageFileDialog final : public QFileDialog {
public:
    explicit MessageFileDialog(QString message)
        : m_message(std::move(message))
    {
    }

protected:
    void showEvent(QShowEvent *event) override
    {
        auto *grid = qobject_cast<QGridLayout *>(layout());
        if (grid && !m_message.isEmpty() && !m_shown) {
            auto *label = new QLabel(m_message, this);
            label->setWordWrap(true);
            grid->addWidget(label, grid->rowCount(), 0, 1, grid->columnCount());
            label->show(); // the dialog's children were shown already
            m_shown = true;
        }
        QFileDialog::showEvent(event);
    }

private:
    QString m_message;
    bool m_shown = false;
};

class LinuxFilePanels final : public FilePanels {
public:
    std::optional<QUrl> runModal(const OpenPanel &panel) override
    {
        const bool portal = runsInFlatpak();
        MessageFileDialog dialog(portal ? QString() : panel.message);
        dialog.setWindowTitle(portal && !panel.message.isEmpty()
                                  ? panel.title + QStringLiteral(" — ") + panel.message
                                  : panel.title);
        if (!portal && !panel.message.isEmpty())
            dialog.setOption(QFileDialog::DontUseNativeDialog);
        dialog.setWindowModality(Qt::ApplicationModal);
        dialog.setAcceptMode(QFileDialog::AcceptOpen);
        dialog.setLabelText(QFileDialog::Accept, panel.prompt);
        if (!panel.directory.isEmpty())
            dialog.setDirectoryUrl(panel.directory);
        switch (panel.choice) {
        case Choice::VideoFile:
            dialog.setFileMode(QFileDialog::ExistingFile);
            dialog.setNameFilter(videoNameFilter());
            break;
        case Choice::Folder:
            dialog.setFileMode(QFileDialog::Directory);
            dialog.setOption(QFileDialog::ShowDirsOnly);
            break;
        }
        // Over the player window, where the window manager places transient dialogs.
        if (QWindow *owner = QGuiApplication::focusWindow()) {
            dialog.winId();
            if (QWindow *own = dialog.windowHandle())
                own->setTransientParent(owner);
        }
        if (dialog.exec() != QDialog::Accepted)
            return std::nullopt;
        const QList<QUrl> chosen = dialog.selectedUrls();
        if (chosen.isEmpty() || !chosen.first().isLocalFile())
            return std::nullopt;
        return chosen.first();
    }
};

} // namespace

std::unique_ptr<FilePanels> createFilePanels()
{
    return std::make_unique<LinuxFilePanels>();
}
