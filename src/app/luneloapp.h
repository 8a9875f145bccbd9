#pragma once

#include <QList>
#include <QUrl>

#include <memory>

class SingleInstance;

// The composition root: creates the engine, the platform services, the models and the window,
// wires them, and hands the launch's files to the delegate. Lives for the whole process.
class LuneloApp {
public:
    // `instance` has been claimed; its requests reach the delegate.
    LuneloApp(SingleInstance &instance, const QList<QUrl> &launchFiles);
    ~LuneloApp();

    LuneloApp(const LuneloApp &) = delete;
    LuneloApp &operator=(const LuneloApp &) = delete;

private:
    struct Parts;
    std::unique_ptr<Parts> m_parts;
};

// The files named on the command line, as absolute file locations, in order.
QList<QUrl> filesFromArguments(const QStringList &arguments);
