// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "displaytext.h"

#include "addressforms.h"
#include "credentials.h"
#include "hqutil.h"
#include "outputfile.h"

#include <QAbstractItemView>
#include <QFileInfo>
#include <QGridLayout>
#include <QHelpEvent>
#include <QLabel>
#include <QMessageBox>
#include <QRegularExpression>
#include <QToolTip>
#include <algorithm>

namespace {

constexpr int maxPartLetters = 24; // letters
constexpr int maxTextWidth = 480;  // pixels

// The text with places where a line may break, which take no room, also inside of long words.
QString breakable(const QString &text)
{
    const QChar zeroWidthSpace(0x200b);
    QString result;
    int part = 0;
    for (int i = 0; i < text.size(); ++i) {
        const QChar letter = text.at(i);
        result += letter;
        part = letter.isSpace() ? 0 : part + 1;
        const bool isSeparator = QStringLiteral("/\\_-.").contains(letter);
        if ((isSeparator || part >= maxPartLetters) && !letter.isHighSurrogate()) {
            result += zeroWidthSpace;
            part = 0;
        }
    }
    return result;
}

// Shows the text as it is, also when it looks like markup. Empty for an empty text.
QString plainToolTip(const QString &text)
{
    if (text.isEmpty())
        return text;
    // A path that is broken at its blanks and hyphens is hard to read; only a long one has to be.
    constexpr int maxLineLetters = 120;
    const QStringList lines = text.split(QLatin1Char('\n'));
    const bool isShort = std::all_of(lines.cbegin(), lines.cend(), [](const QString &line) {
        return line.size() <= maxLineLetters;
    });
    return QStringLiteral("<p style='white-space:%1'>%2</p>")
        .arg(isShort ? "pre" : "pre-wrap", (isShort ? text : breakable(text)).toHtmlEscaped());
}

} // namespace

QString addressWithoutCredentials(const QString &address)
{
    const std::string text = address.toStdString();
    const bool isFlow = address.startsWith(QLatin1String("tamss://"));
    if (!isFlow && hqOSIsNetworkSource(text.c_str()) == 0)
        return address;
    if (const auto plain = hq::s3AddressWithoutCredentials(text))
        return QString::fromStdString(*plain);
    return QString::fromStdString(hq::harmlessAddress(text));
}

QString addressToShow(const QString &address)
{
    QString text = addressWithoutCredentials(usualAddress(address));
    const auto isHidden = [](QChar c) { return !c.isPrint() && !c.isSurrogate(); };
    std::replace_if(text.begin(), text.end(), isHidden, QChar(QChar::ReplacementCharacter));
    return text;
}

QString pathToShow(const QString &path)
{
    const QString native = hqNativePath(path);
    const bool isAddress = hqOSIsNetworkSource(path.toUtf8().constData()) != 0;
    return isAddress ? addressToShow(path) : hqNativePath(QFileInfo(native).absoluteFilePath());
}

void describe(QWidget *widget, const QString &text)
{
    widget->setToolTip(plainToolTip(text));
    widget->setAccessibleDescription(text);
}

void showWholeText(const QPoint &globalPlace, const QString &text, QWidget *widget)
{
    QToolTip::showText(globalPlace, plainToolTip(text), widget);
}

void wrapLongWords(QMessageBox *box)
{
    auto *label = box->findChild<QLabel *>(QStringLiteral("qt_msgbox_label"));
    auto *grid = qobject_cast<QGridLayout *>(box->layout());
    if (!label || !grid || grid->indexOf(label) < 0)
        return;
    int widest = 0;
    for (const QString &word : box->text().split(QRegularExpression(QStringLiteral("\\s"))))
        widest = std::max(widest, label->fontMetrics().horizontalAdvance(word));
    if (widest <= maxTextWidth)
        return;
    // Another label in the place of the box's own, whose text is the box's.
    auto *wrapped = new QLabel(breakable(box->text()), box);
    wrapped->setTextFormat(Qt::PlainText);
    wrapped->setAccessibleName(box->text());
    wrapped->setWordWrap(true);
    wrapped->setMinimumWidth(maxTextWidth);
    wrapped->setContentsMargins(label->contentsMargins());
    wrapped->setAlignment(label->alignment());
    int row = 0, column = 0, rows = 0, columns = 0;
    grid->getItemPosition(grid->indexOf(label), &row, &column, &rows, &columns);
    label->hide();
    grid->addWidget(wrapped, row, column, rows, columns);
}

WholeNameTips::WholeNameTips(QAbstractItemView *view) : QObject(view), m_view(view)
{
    view->viewport()->installEventFilter(this);
}

bool WholeNameTips::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() != QEvent::ToolTip)
        return QObject::eventFilter(watched, event);
    const auto *help = static_cast<QHelpEvent *>(event);
    const QModelIndex index = m_view->indexAt(help->pos());
    if (!index.isValid() || index.data(Qt::ToolTipRole).isValid())
        return false;
    const QRect shown = m_view->visualRect(index).intersected(m_view->viewport()->rect());
    const bool isCut = m_view->sizeHintForIndex(index).width() > shown.width();
    showWholeText(help->globalPos(), isCut ? index.data().toString() : QString(),
                  m_view->viewport());
    return true;
}
