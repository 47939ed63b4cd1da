// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "namefinder.h"

#include "contextmenu.h"

#include <QAction>
#include <QElapsedTimer>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QTreeView>

namespace {
constexpr int budgetMilliseconds = 8; // of a look at some rows
constexpr int rowsBetweenClocks = 64;
} // namespace

NameFinder::NameFinder(QTreeView *view)
    : QFrame(view), m_view(view), m_text(new QLineEdit(this)), m_result(new QLabel(this))
{
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    auto *label = new QLabel(tr("Find name:"), this);
    label->setBuddy(m_text);
    for (QWidget *widget : std::initializer_list<QWidget *>{label, m_text, m_result})
        layout->addWidget(widget);
    m_text->setAccessibleName(tr("Find name"));
    m_result->setObjectName(QStringLiteral("label_FindResult"));
    hide();
    m_text->installEventFilter(this);
    view->installEventFilter(this);
    connect(m_text, &QLineEdit::textEdited, this, [this] { search(false); });
    m_next.setInterval(0);
    connect(&m_next, &QTimer::timeout, this, &NameFinder::lookAtSome);

    view->window()->addAction(addMenuAction(
        view, this, tr("Find Name..."), [this] { comeUp(); }, QKeySequence::Find));
}

bool NameFinder::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_view) {
        if (event->type() == QEvent::Resize)
            place();
        return QFrame::eventFilter(watched, event);
    }
    if (event->type() != QEvent::KeyPress && event->type() != QEvent::ShortcutOverride)
        return QFrame::eventFilter(watched, event);
    const int key = static_cast<QKeyEvent *>(event)->key();
    const bool isNext = key == Qt::Key_Return || key == Qt::Key_Enter || key == Qt::Key_F3;
    if (!isNext && key != Qt::Key_Escape)
        return QFrame::eventFilter(watched, event);
    event->accept(); // neither for the window's shortcuts nor for the view below
    if (event->type() == QEvent::ShortcutOverride)
        return true;
    if (isNext)
        search(true);
    else
        goAway();
    return true;
}

void NameFinder::comeUp()
{
    if (isVisible() && m_text->hasFocus()) {
        search(true);
        return;
    }
    m_result->clear();
    place();
    show();
    // To scroll to a row the view measures all rows above it, which takes half a second for
    // 100,000. Rows of one height need not be measured. The layout for them takes longer still, so
    // it is made when a search begins, and stays.
    if (!m_view->uniformRowHeights()) {
        m_view->setUniformRowHeights(true);
        m_view->doItemsLayout();
    }
    raise();
    m_text->selectAll();
    m_text->setFocus(Qt::ShortcutFocusReason);
}

void NameFinder::goAway()
{
    m_next.stop();
    hide();
    m_view->setFocus();
}

void NameFinder::place()
{
    const QRect rows = m_view->viewport()->geometry();
    const int height = sizeHint().height();
    // Not over the row that was found, which may be one of the last.
    const QRect current = m_view->visualRect(m_view->currentIndex());
    const bool isCovered = current.bottom() > rows.height() - height;
    const int top = isCovered ? rows.top() : rows.bottom() + 1 - height;
    setGeometry(rows.left(), top, rows.width(), height);
}

void NameFinder::search(bool beyondCurrent)
{
    m_result->clear();
    m_model = m_view->model();
    m_root = m_view->rootIndex();
    m_rowsLeft = m_model && !m_text->text().isEmpty() ? m_model->rowCount(m_root) : 0;
    const QModelIndex current = m_view->currentIndex();
    const bool isBelow = current.isValid() && current.parent() == m_root;
    m_row = isBelow ? current.row() + (beyondCurrent ? 1 : 0) : 0;
    m_next.start();
    lookAtSome();
}

void NameFinder::lookAtSome()
{
    // A folder that is shown by now is another search; rows may have gone, too.
    const bool isSame = m_model && m_model == m_view->model() && m_root == m_view->rootIndex();
    const int rows = isSame ? m_model->rowCount(m_root) : 0;
    m_rowsLeft = std::min(m_rowsLeft, rows);
    const QString text = m_text->text();
    QElapsedTimer clock;
    clock.start();
    for (int looks = 1; m_rowsLeft > 0; ++looks, ++m_row, --m_rowsLeft) {
        const QModelIndex name = m_model->index(m_row % rows, 0, m_root);
        if (name.data().toString().contains(text, Qt::CaseInsensitive)) {
            m_next.stop();
            m_view->setCurrentIndex(name);
            m_view->scrollTo(name, QAbstractItemView::PositionAtCenter);
            place();
            return;
        }
        if (looks % rowsBetweenClocks == 0 && clock.elapsed() >= budgetMilliseconds) {
            ++m_row;
            --m_rowsLeft;
            return;
        }
    }
    m_next.stop();
    if (!text.isEmpty())
        m_result->setText(tr("Not found"));
}
