// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

class QAbstractItemModel;
class QTreeView;

// Gives the view a model, or none, and lets go of what it kept for the one before.
void showModel(QTreeView *view, QAbstractItemModel *model);
