#pragma once

#include <QObject>

#include <memory>

// Keeps the screen awake while `inhibited` is true. GUI thread only.
// Linux: org.freedesktop.ScreenSaver over D-Bus; elsewhere a no-op.
class ScreenSaver : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool inhibited READ inhibited WRITE setInhibited NOTIFY inhibitedChanged FINAL)
public:
    static std::unique_ptr<ScreenSaver> create();
    [[nodiscard]] virtual bool inhibited() const = 0;
    virtual void setInhibited(bool on) = 0;
signals:
    void inhibitedChanged();

protected:
    using QObject::QObject;
};
