// The control's layout: the pane proportions kept in the settings, the five splitter bars placed
// from them, dragging a bar within its limits, and the placing of every pane between the bars.
//
// Lengths of the layout are kept in twips (1/1440 inch) and turned into pixels at the screen's
// logical resolution, so that the control keeps its proportions and limits on any screen.
//
//   +-----------+---+------------------------+
//   | tables    | 3 | diagram                |
//   +===========+===+========================+  bar 0
//   | selected-items grid                    |
//   +========================================+  bar 1
//   | conditions        | 4 | calculated items|
//   +========================================+  bar 2
//   | SQL                                    |
//   +----------------------------------------+

#include "SplitterBar.h"
#include "marovin/Utilities.h"
#include "marovin/dvTablesAndJoins.h"
#include "marovin/uscMarovin.h"

#include <QLocale>
#include <QResizeEvent>
#include <cmath>
#include <cstdio>

namespace marovin {

namespace {

constexpr const char* kPaneSection = "RelSizesDVPanes";
constexpr const char* kPaneKey = "Positions";
// The separator the stored proportions are read with; they are written with "," (see
// writePaneProportions), so a value the control wrote itself is never read back.
constexpr std::string_view kPaneReadSeparator = "$%&";
constexpr std::array<float, 5> kDefaultProportions = {0.375F, 0.6F, 0.825F, 0.2F, 0.5F};

// The smallest size of the control, and the limits of a drag.
constexpr int kMinimumSideTwips = 8000;
constexpr int kTopBarLowestTwips = 1000;
constexpr int kBarGapTwips = 500;
constexpr int kUprightBarMarginTwips = 2000;
// The thickness of a bar: wide enough to take hold of, narrow enough not to waste room.
constexpr int kBarThicknessTwips = 90;

// A number as the classic locale-independent Str() writes it: a leading blank for a positive
// value (a minus sign otherwise), no leading zero before the decimal mark, at most seven
// significant digits of a single-precision value.
std::string numberToText(float value) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.7g", static_cast<double>(std::fabs(value)));
    std::string digits = buffer;
    if (digits.rfind("0.", 0) == 0)
        digits.erase(0, 1);
    return (value < 0 ? "-" : " ") + digits;
}

int nonNegative(int value) {
    return static_cast<int>(MaxOf(value, 0));
}

} // namespace

void uscMarovin::readPaneProportions() {
    m_sngPaneProportions = kDefaultProportions;
    const std::string stored =
        Trim(m_services.settings->GetSetting(kPaneSection, kPaneKey, QString()).toStdString());
    if (stored.empty() || stored.find(kPaneReadSeparator) == std::string::npos)
        return;
    const std::vector<std::string> parts = Split(stored, kPaneReadSeparator);
    if (parts.size() < 5)
        return;
    for (size_t i = 0; i < 5; ++i) {
        const double value = ParseDecimal(parts[i], kDefaultProportions[i]);
        // Both bounds are exclusive and are tested before the value is narrowed.
        if (value > 0.1 && value < 0.99)
            m_sngPaneProportions[i] = static_cast<float>(value);
    }
}

void uscMarovin::writePaneProportions() const {
    std::string text;
    for (size_t i = 0; i < 5; ++i) {
        if (i > 0)
            text += ",";
        text += numberToText(m_sngPaneProportions[i]);
    }
    m_services.settings->SaveSetting(kPaneSection, kPaneKey, QString::fromStdString(text));
}

void uscMarovin::setupSplitters() {
    const char* const names[5] = {
        QT_TR_NOOP("Splitter above the selected fields"),
        QT_TR_NOOP("Splitter above the conditions and calculated items"),
        QT_TR_NOOP("Splitter above the SQL"),
        QT_TR_NOOP("Splitter between the table list and the diagram"),
        QT_TR_NOOP("Splitter between the conditions and the calculated items"),
    };
    for (int i = 0; i < 5; ++i) {
        auto* bar = new SplitterBar(i, this);
        bar->setAccessibleName(tr(names[i]));
        bar->setToolTip(tr("Drag to give the panes on either side more room"));
        connect(bar, &SplitterBar::dragStarted, this,
                [this](int index) { onBarDragStarted(index); });
        connect(bar, &SplitterBar::dragMoved, this,
                [this](int index, int offset) { onBarDragMoved(index, offset); });
        connect(bar, &SplitterBar::dragFinished, this,
                [this](int index) { onBarDragFinished(index); });
        m_imgSplit[static_cast<size_t>(i)] = bar;
    }
    // The drag indicator: a strip in the highlight colour that follows the pointer while a bar
    // is dragged; the bar itself moves only when the button is let go.
    m_picSplit = new QWidget(this);
    m_picSplit->setObjectName(QStringLiteral("picSplit"));
    m_picSplit->setAccessibleName(tr("Splitter position"));
    m_picSplit->setAttribute(Qt::WA_TransparentForMouseEvents);
    m_picSplit->setAutoFillBackground(true);
    m_picSplit->setBackgroundRole(QPalette::Highlight);
    m_picSplit->hide();
    setMinimumSize(minimumSizeHint());
}

int uscMarovin::twipsToPixels(int twips) const {
    return static_cast<int>(std::lround(twips * logicalDpiY() / 1440.0));
}

QSize uscMarovin::minimumSizeHint() const {
    const int side = twipsToPixels(kMinimumSideTwips);
    return {side, side};
}

QSize uscMarovin::sizeHint() const {
    return {twipsToPixels(15000), twipsToPixels(11000)};
}

void uscMarovin::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    // The screen (and with it the size of a twip) may have changed since the last resize.
    const QSize minimum = minimumSizeHint();
    if (minimumSize() != minimum)
        setMinimumSize(minimum);
    if (width() < minimum.width() || height() < minimum.height()) {
        resize(size().expandedTo(minimum));
        return;
    }
    // Every resize puts the bars back at their proportional places.
    placeBarsFromProportions();
    layoutPanes();
}

void uscMarovin::placeBarsFromProportions() {
    for (size_t k = 0; k < 5; ++k) {
        const int extent = k < 3 ? height() : width();
        m_barPositions[k] = static_cast<int>(std::lround(extent * m_sngPaneProportions[k]));
    }
}

int uscMarovin::clampBarPosition(int index, int proposed) const {
    const auto& bars = m_barPositions;
    int lower = 0;
    int upper = 0;
    switch (index) {
    case 0:
        lower = twipsToPixels(kTopBarLowestTwips);
        upper = bars[1] - twipsToPixels(kBarGapTwips);
        break;
    case 1:
        lower = bars[0] + twipsToPixels(kBarGapTwips);
        upper = bars[2] - twipsToPixels(kBarGapTwips);
        break;
    case 2:
        lower = bars[1] + twipsToPixels(kBarGapTwips);
        upper = height() - twipsToPixels(kBarGapTwips);
        break;
    case 3:
    case 4:
        lower = twipsToPixels(kUprightBarMarginTwips);
        upper = width() - twipsToPixels(kUprightBarMarginTwips);
        break;
    default:
        break;
    }
    // The lower limit first, then the upper one, so the upper limit wins when they cross.
    return std::min(std::max(proposed, lower), upper);
}

void uscMarovin::onBarDragStarted(int index) {
    m_picSplit->setGeometry(m_imgSplit[static_cast<size_t>(index)]->geometry());
    m_picSplit->raise();
    m_picSplit->show();
    m_blnDragging = true;
}

void uscMarovin::onBarDragMoved(int index, int offset) {
    if (!m_blnDragging)
        return;
    const int position =
        clampBarPosition(index, m_barPositions[static_cast<size_t>(index)] + offset);
    if (m_imgSplit[static_cast<size_t>(index)]->liesHorizontally())
        m_picSplit->move(m_picSplit->x(), position);
    else
        m_picSplit->move(position, m_picSplit->y());
}

void uscMarovin::onBarDragFinished(int index) {
    if (!m_blnDragging)
        return;
    // The bar moves; the proportions stay, so the next resize puts it back.
    m_barPositions[static_cast<size_t>(index)] =
        m_imgSplit[static_cast<size_t>(index)]->liesHorizontally() ? m_picSplit->y()
                                                                   : m_picSplit->x();
    m_picSplit->hide();
    m_blnDragging = false;
    layoutPanes();
}

void uscMarovin::layoutPanes() {
    const int w = width();
    const int h = height();
    const int t = std::max(5, twipsToPixels(kBarThicknessTwips));
    const int top0 = m_barPositions[0];
    const int top1 = m_barPositions[1];
    const int top2 = m_barPositions[2];
    const int left3 = m_barPositions[3];
    const int left4 = m_barPositions[4];

    // Table list and diagram above bar 0, bar 3 between them.
    m_pnlTables->setGeometry(0, 0, nonNegative(left3), nonNegative(top0));
    m_imgSplit[3]->setGeometry(left3, 0, t, nonNegative(top0));
    m_dvTablesAndJoins->setGeometry(left3 + t, 0, nonNegative(w - left3 - t), nonNegative(top0));
    m_imgSplit[0]->setGeometry(0, top0, w, t);

    // The grid between bars 0 and 1.
    m_pnlGrid->setGeometry(0, top0 + t, w, nonNegative(top1 - top0 - t));
    m_imgSplit[1]->setGeometry(0, top1, w, t);

    // Conditions and calculated items between bars 1 and 2, bar 4 between them.
    const int listsTop = top1 + t;
    const int listsHeight = nonNegative(top2 - listsTop);
    m_pnlConditions->setGeometry(0, listsTop, nonNegative(left4), listsHeight);
    m_imgSplit[4]->setGeometry(left4, listsTop, t, listsHeight);
    m_pnlExpressions->setGeometry(left4 + t, listsTop, nonNegative(w - left4 - t), listsHeight);
    m_imgSplit[2]->setGeometry(0, top2, w, t);

    // The SQL below bar 2.
    m_pnlSql->setGeometry(0, top2 + t, w, nonNegative(h - top2 - t));

    for (SplitterBar* bar : m_imgSplit)
        bar->raise();
    if (m_blnDragging)
        m_picSplit->raise();
}

} // namespace marovin
