#pragma once

#include "filepanels.h"

#include <QList>

// Panels that answer from a script instead of the user: each run records the panel and takes
// the next answer; with no answer left the user cancels.
class ScriptedPanels final : public FilePanels {
public:
    std::optional<QUrl> runModal(const OpenPanel &panel) override
    {
        shown << panel;
        return answers.isEmpty() ? std::nullopt : answers.takeFirst();
    }

    QList<OpenPanel> shown;
    QList<std::optional<QUrl>> answers;
};
