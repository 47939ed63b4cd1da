// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "fileactions.h"

#include "contextmenu.h"
#include "displaytext.h"
#include "outputfile.h"

#include <QAction>
#include <QClipboard>
#include <QDesktopServices>
#include <QFileInfo>
#include <QGuiApplication>
#include <QTreeView>
#include <QUrl>

FileActions::FileActions(QTreeView *files, Callbacks callbacks)
    : QObject(files), m_callbacks(std::move(callbacks))
{
    const auto copy = [](const QString &text) { QGuiApplication::clipboard()->setText(text); };
    const auto add = [this, files](const QString &text, const std::function<void()> &run) {
        return addMenuAction(files, this, text, run);
    };
    m_onFile.append(add(tr("Make Stream File"), [this] { m_callbacks.write(false); }));
    m_localize = add(tr("Localize File"), m_callbacks.localize);
    m_onFile.append(add(tr("Encrypt Stream File"), [this] { m_callbacks.write(true); }));
    m_copies.append(add(tr("Copy Address"), [this, copy] {
        copy(addressWithoutCredentials(m_callbacks.state().stream.address));
    }));
    m_copies.append(add(tr("Copy Name"), [this, copy] { copy(m_callbacks.state().stream.name); }));
    m_openTarget = add(tr("Open Target Folder"), [this] { openTargetFolder(); });
    update(TargetAnswer());
}

void FileActions::update(const TargetAnswer &target)
{
    const ActionState state = m_callbacks.state();
    const bool hasTarget = !state.target.isEmpty();
    for (QAction *action : qAsConst(m_onFile))
        action->setEnabled(state.isSelected && hasTarget);
    for (QAction *action : qAsConst(m_copies))
        action->setEnabled(state.isSelected);
    m_localize->setEnabled(state.isSelected && hasTarget && !state.stream.isFlow);
    // A folder that does not answer would hold the window while the system opens it.
    m_openTarget->setEnabled(target.isKnown && target.isFolder);
}

void FileActions::openTargetFolder() const
{
    const QFileInfo folder(hqNativePath(m_callbacks.state().target));
    QDesktopServices::openUrl(QUrl::fromLocalFile(folder.absoluteFilePath()));
}
