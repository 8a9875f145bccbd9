#pragma once

#include <QString>
#include <QUrl>

#include <memory>
#include <optional>

// The platform's modal open panels: one to choose a video file, one to choose a folder.
// GUI thread only. runModal() blocks its caller in a nested event loop until the user answers;
// while the panel is open it is the application's modal window and gets the keyboard.
class FilePanels {
public:
    enum class Choice {
        VideoFile, // one existing file of a video type; folders cannot be chosen
        Folder,    // one existing folder
    };

    struct OpenPanel {
        Choice choice = Choice::VideoFile;
        QString title;
        QString prompt;  // the confirming button
        QString message; // a line explaining why the panel asks; empty for none
        QUrl directory;  // where the panel starts; empty for the panel's own choice
    };

    virtual ~FilePanels() = default;

    // Shows `panel` and waits for the user: the chosen location, or nothing when cancelled.
    virtual std::optional<QUrl> runModal(const OpenPanel &panel) = 0;
};

// This platform's panels. Linux: QFileDialog, the desktop's own chooser where the platform
// theme provides one (GTK, KDE, the portal under Flatpak), Qt's otherwise.
std::unique_ptr<FilePanels> createFilePanels();
