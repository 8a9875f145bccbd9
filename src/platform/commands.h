#pragma once

#include <QObject>

// The application's command notifications: parts post a command, observers switch on it. GUI
// thread only; delivery is synchronous, in the order observers connected.
class Commands : public QObject {
    Q_OBJECT

public:
    // Each known by its notification name: "Lunelo.zoomIn", "Lunelo.zoomOut",
    // "Lunelo.zoomReset", "Lunelo.requestClosePreview", "Lunelo.rateNudged".
    enum class Command {
        ZoomIn,
        ZoomOut,
        ZoomReset,
        RequestClosePreview,
        RateNudged,
    };
    Q_ENUM(Command)

    using QObject::QObject;

    Q_INVOKABLE void post(Commands::Command command) { emit posted(command); }

signals:
    void posted(Commands::Command command);
};
