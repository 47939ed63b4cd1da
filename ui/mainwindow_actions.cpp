// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// The actions on the selected file.
#include "mainwindow.h"

void MainWindow::on_button_MakeStream_clicked() {}

void MainWindow::on_button_LocalizeFile_clicked() {}

void MainWindow::on_button_EncryptStream_clicked() {}

void MainWindow::on_button_PartialFile_clicked() {}
