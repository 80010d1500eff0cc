#include "marovin/frmViewQueryResults.h"

#include "DialogSupport.h"
#include "RecordsetModel.h"
#include "marovin/DbCancellation.h"
#include "marovin/cDbConnection.h"
#include "marovin/cRecordset.h"
#include "marovin/platform/BackgroundWork.h"
#include "marovin/platform/BusyPointerScope.h"

#include <QApplication>
#include <QFileDialog>
#include <QFontMetrics>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPointer>
#include <QPushButton>
#include <QTableView>
#include <QTimer>
#include <QVBoxLayout>
#include <algorithm>
#include <atomic>
#include <charconv>
#include <cmath>
#include <fstream>
#include <limits>
#include <new>
#include <ostream>
#include <set>

namespace marovin {

namespace {

const QString kRefreshCaption = QStringLiteral("Refresh query results");
const QString kCopyCaption = QStringLiteral("Copy queryresults to clipboard");
const QString kExportCaption = QStringLiteral("Export query results");
const QString kNoConnectionText = QStringLiteral("No connection to SQL-Server");
const QString kBelowOneText = QStringLiteral("Number must be > 0");
const QString kNotANumberText = QStringLiteral("Please enter number");
const QString kMemoryFullText = QStringLiteral("Memory full.");
const QString kCsvFilter = QStringLiteral("CSV, comma-separated values (*.csv)");
const QString kTsvFilter = QStringLiteral("Tab-separated text (*.tsv *.txt)");

// Columns are fitted to at most this many pixels (a long text does not push the others away).
constexpr int kMaxFittedColumnWidth = 360;
// Rows are written in batches of this many between two looks at the cancellation.
constexpr std::int32_t kRowsPerCancelCheck = 4096;

// Appends the text of a value as copy and export give it: NULL as nothing, numbers in their
// shortest exact form, texts as they are, blobs in hex.
void appendValue(std::string& out, const DbValue& value) {
    switch (value.Kind()) {
    case DbValueKind::Null:
        return;
    case DbValueKind::Integer: {
        char buffer[24];
        const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value.AsInteger());
        if (ec == std::errc{})
            out.append(buffer, end);
        return;
    }
    case DbValueKind::Text:
        out.append(value.AsText());
        return;
    case DbValueKind::Real: {
        char buffer[32];
        const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value.AsReal());
        if (ec == std::errc{})
            out.append(buffer, end);
        return;
    }
    case DbValueKind::Blob:
        out += value.ToString();
        return;
    }
}

// Room for a text of many rows, estimated from the first ones, so that a large text is not
// copied again and again as it grows.
template <class AppendRow>
void reserveForRows(std::string& out, std::size_t rows, AppendRow appendRow) {
    constexpr std::size_t kSample = 256;
    if (rows <= kSample)
        return;
    std::string sample;
    for (std::size_t r = 0; r < kSample; ++r)
        appendRow(sample, r);
    out.reserve(out.size() + sample.size() / kSample * rows * 9 / 8 + 64);
}

void trimTrailingBlanks(std::string& out, std::size_t from) {
    std::size_t end = out.size();
    while (end > from && out[end - 1] == ' ')
        --end;
    out.resize(end);
}

// One CSV field: quoted when it holds a separator, a quote or a line break.
void appendCsvField(std::string& out, std::string_view field) {
    if (field.find_first_of(",\"\r\n") == std::string_view::npos) {
        out.append(field);
        return;
    }
    out += '"';
    for (const char c : field) {
        if (c == '"')
            out += '"';
        out += c;
    }
    out += '"';
}

// One tab-separated field: the characters the format cannot hold become blanks.
void appendTsvField(std::string& out, std::string_view field) {
    const std::size_t start = out.size();
    out.append(field);
    std::replace_if(
        out.begin() + static_cast<std::ptrdiff_t>(start), out.end(),
        [](char c) { return c == '\t' || c == '\r' || c == '\n'; }, ' ');
}

template <class AppendField>
void writeDelimited(const cRecordset& rows, std::ostream& out, char separator,
                    AppendField appendField, const std::function<bool()>& cancelled) {
    std::string buffer;
    std::string value;
    const std::int32_t columns = rows.FieldCount();
    for (std::int32_t c = 0; c < columns; ++c) {
        if (c > 0)
            buffer += separator;
        appendField(buffer, rows.FieldName(c));
    }
    buffer += "\r\n";
    for (std::int32_t r = 0; r < rows.RecordCount(); ++r) {
        for (std::int32_t c = 0; c < columns; ++c) {
            if (c > 0)
                buffer += separator;
            const DbValue& cell = rows.value(r, c);
            if (cell.Kind() == DbValueKind::Text) {
                appendField(buffer, cell.AsText());
            } else {
                value.clear();
                appendValue(value, cell);
                appendField(buffer, value);
            }
        }
        buffer += "\r\n";
        if ((r + 1) % kRowsPerCancelCheck == 0) {
            out.write(buffer.data(), static_cast<std::streamsize>(buffer.size()));
            buffer.clear();
            if (cancelled && cancelled())
                return;
        }
    }
    out.write(buffer.data(), static_cast<std::streamsize>(buffer.size()));
}

// The text of txtRows as a whole number, the way a number typed or pasted there is read:
// blanks around it are allowed, a fraction is rounded half to even, and numbers beyond the
// 32-bit range are held at its ends. False when the text is not a number.
bool readWholeNumber(const QString& text, std::int32_t& number) {
    bool ok = false;
    const double value = QLocale::c().toDouble(text.trimmed(), &ok);
    if (!ok || std::isnan(value))
        return false;
    const double rounded = std::nearbyint(value);
    if (rounded >= static_cast<double>(std::numeric_limits<std::int32_t>::max()))
        number = std::numeric_limits<std::int32_t>::max();
    else if (rounded <= static_cast<double>(std::numeric_limits<std::int32_t>::min()))
        number = std::numeric_limits<std::int32_t>::min();
    else
        number = static_cast<std::int32_t>(rounded);
    return true;
}

} // namespace

frmViewQueryResults::frmViewQueryResults(PlatformServices services, QWidget* parent)
    : QDialog(parent), m_services(services.withDefaults(this)) {
    setObjectName(QStringLiteral("frmViewQueryResults"));
    setWindowTitle(QString::fromLatin1(kCaption));
    setAccessibleName(QString::fromLatin1(kCaption));
    setSizeGripEnabled(true);
    buildControls();
    EnableButtons();
    restoreDialogSize(*this, m_services.settings.get(), QString::fromLatin1(kSizeKey),
                      QSize(900, 560));
}

frmViewQueryResults::~frmViewQueryResults() = default;

void frmViewQueryResults::buildControls() {
    m_lblRows = new QLabel(QStringLiteral("&Rows:"), this);
    m_lblRows->setObjectName(QStringLiteral("lblRows"));
    m_txtRows = new QLineEdit(this);
    nameControl(m_txtRows, "txtRows", QStringLiteral("Number of rows to fetch"));
    m_txtRows->setMaximumWidth(m_txtRows->fontMetrics().horizontalAdvance(QStringLiteral("0")) * 8 +
                               16);
    m_txtRows->installEventFilter(this);
    m_lblRows->setBuddy(m_txtRows);
    m_cmdRefresh = new QPushButton(QStringLiteral("Re&fresh"), this);
    nameControl(m_cmdRefresh, "cmdRefresh", QStringLiteral("Refresh"));
    m_cmdRefresh->setToolTip(QStringLiteral("Run the query again with this number of rows"));

    m_lblSearchText = new QLabel(QStringLiteral("Fin&d:"), this);
    m_lblSearchText->setObjectName(QStringLiteral("lblSearchText"));
    m_txtSearchText = new QLineEdit(this);
    nameControl(m_txtSearchText, "txtSearchText", QStringLiteral("Text to find"));
    m_txtSearchText->setPlaceholderText(QStringLiteral("Text in the current column"));
    m_lblSearchText->setBuddy(m_txtSearchText);
    m_cmdSearch = new QPushButton(QStringLiteral("&Search"), this);
    nameControl(m_cmdSearch, "cmdSearch", QStringLiteral("Search"));
    m_cmdSearch->setToolTip(QStringLiteral("Find the text in the current column, below the "
                                           "current row"));

    m_model = new RecordsetModel(this);
    m_jgQueryResults = new QTableView(this);
    nameControl(m_jgQueryResults, "jgQueryResults", QStringLiteral("Query results"));
    m_jgQueryResults->setModel(m_model);
    m_jgQueryResults->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_jgQueryResults->setSelectionBehavior(QAbstractItemView::SelectItems);
    m_jgQueryResults->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_jgQueryResults->setAlternatingRowColors(true);
    m_jgQueryResults->setWordWrap(false);
    m_jgQueryResults->setTextElideMode(Qt::ElideRight);
    m_jgQueryResults->setTabKeyNavigation(false);
    m_jgQueryResults->installEventFilter(this);
    // Every row has the same height and every column is sized once per fill, so the view never
    // measures the rows' contents: a million rows cost no more than a screenful.
    QHeaderView* rowsHeader = m_jgQueryResults->verticalHeader();
    rowsHeader->setSectionResizeMode(QHeaderView::Fixed);
    rowsHeader->setDefaultSectionSize(m_jgQueryResults->fontMetrics().height() + 6);
    rowsHeader->setDefaultAlignment(Qt::AlignRight | Qt::AlignVCenter);
    QHeaderView* columnsHeader = m_jgQueryResults->horizontalHeader();
    columnsHeader->setSectionResizeMode(QHeaderView::Interactive);
    columnsHeader->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    columnsHeader->setHighlightSections(false);
    connect(m_jgQueryResults->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this] { run([this] { EnableButtons(); }); });

    m_lblRecordCount = new QLabel(this);
    m_lblRecordCount->setObjectName(QStringLiteral("lblRecordCount"));

    m_cmdPrint = new QPushButton(QStringLiteral("&Copy All"), this);
    nameControl(m_cmdPrint, "cmdPrint", QStringLiteral("Copy all rows to the clipboard"));
    m_cmdPrint->setToolTip(
        QStringLiteral("Copy the column names and every row to the clipboard as tab-separated "
                       "text"));
    m_cmdCopySelection = new QPushButton(QStringLiteral("Copy Se&lection"), this);
    nameControl(m_cmdCopySelection, "cmdCopySelection",
                QStringLiteral("Copy the selected cells to the clipboard"));
    m_cmdCopySelection->setToolTip(QStringLiteral("Copy the selected cells with their column "
                                                  "names (Ctrl+C in the grid)"));
    m_cmdExport = new QPushButton(QStringLiteral("&Export..."), this);
    nameControl(m_cmdExport, "cmdExport", QStringLiteral("Export the rows to a file"));
    m_cmdExport->setToolTip(QStringLiteral("Save the rows as CSV or tab-separated text"));
    m_cmdClose = new QPushButton(QStringLiteral("Cl&ose"), this);
    nameControl(m_cmdClose, "cmdClose", QStringLiteral("Close"));

    // Enter in a text field runs its own button, never another one.
    for (QPushButton* button :
         {m_cmdRefresh, m_cmdSearch, m_cmdPrint, m_cmdCopySelection, m_cmdExport, m_cmdClose})
        button->setAutoDefault(false);

    const auto guardedSlot = [this](void (frmViewQueryResults::*action)()) {
        return [this, action] {
            run([this, action] { (this->*action)(); });
        };
    };
    connect(m_cmdRefresh, &QPushButton::clicked, this, guardedSlot(&frmViewQueryResults::Refresh));
    connect(m_txtRows, &QLineEdit::returnPressed, this, guardedSlot(&frmViewQueryResults::Refresh));
    connect(m_cmdSearch, &QPushButton::clicked, this, guardedSlot(&frmViewQueryResults::Search));
    connect(m_txtSearchText, &QLineEdit::returnPressed, this,
            guardedSlot(&frmViewQueryResults::Search));
    connect(m_cmdPrint, &QPushButton::clicked, this, guardedSlot(&frmViewQueryResults::CopyAll));
    connect(m_cmdCopySelection, &QPushButton::clicked, this,
            guardedSlot(&frmViewQueryResults::CopySelection));
    connect(m_cmdExport, &QPushButton::clicked, this, guardedSlot(&frmViewQueryResults::Export));
    connect(m_cmdClose, &QPushButton::clicked, this, &QDialog::reject);

    auto* top = new QHBoxLayout;
    top->addWidget(m_lblRows);
    top->addWidget(m_txtRows);
    top->addWidget(m_cmdRefresh);
    top->addSpacing(24);
    top->addWidget(m_lblSearchText);
    top->addWidget(m_txtSearchText, 1);
    top->addWidget(m_cmdSearch);

    auto* bottom = new QHBoxLayout;
    bottom->addWidget(m_lblRecordCount);
    bottom->addStretch(1);
    bottom->addWidget(m_cmdPrint);
    bottom->addWidget(m_cmdCopySelection);
    bottom->addWidget(m_cmdExport);
    bottom->addSpacing(12);
    bottom->addWidget(m_cmdClose);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(m_jgQueryResults, 1);
    layout->addLayout(bottom);

    setTabOrder(m_txtRows, m_cmdRefresh);
    setTabOrder(m_cmdRefresh, m_txtSearchText);
    setTabOrder(m_txtSearchText, m_cmdSearch);
    setTabOrder(m_cmdSearch, m_jgQueryResults);
    setTabOrder(m_jgQueryResults, m_cmdPrint);
    setTabOrder(m_cmdPrint, m_cmdCopySelection);
    setTabOrder(m_cmdCopySelection, m_cmdExport);
    setTabOrder(m_cmdExport, m_cmdClose);
    m_jgQueryResults->setFocus();
}

void frmViewQueryResults::run(const std::function<void()>& action) {
    guarded(m_services.messageBox.get(), QString::fromLatin1(kCaption), action);
}

void frmViewQueryResults::setDbConnection(std::shared_ptr<cDbConnection> connection) {
    m_DbConnection = std::move(connection);
}

void frmViewQueryResults::setRecordSet(std::shared_ptr<cRecordset> rows) {
    m_RecordSet = std::move(rows);
    run([this] {
        if (!m_blnLoaded)
            Load();
        else if (m_RecordSet)
            CreateGridFromADORecordSet();
    });
}

void frmViewQueryResults::Load() {
    m_blnLoaded = true;
    // The stored limit, with the current one as default; 0 (or a negative number, which would
    // fetch without any limit) gives 100.
    const QString stored = m_services.settings->GetSetting(QString::fromLatin1(kSettingsSection),
                                                           QString::fromLatin1(kSettingsKey),
                                                           QString::number(m_lngNrRecordsToShow));
    std::int32_t limit = m_lngNrRecordsToShow;
    readWholeNumber(stored, limit);
    m_lngNrRecordsToShow = limit < 1 ? kDefaultNrRecords : limit;
    m_txtRows->setText(QString::number(m_lngNrRecordsToShow));

    if (!m_DbConnection) {
        m_services.messageBox->Show(QString::fromLatin1(kCaption), kNoConnectionText,
                                    MessageIcon::Critical, MessageButtons::Ok);
        m_blnCloseOnActivate = true;
        if (m_blnShown)
            QTimer::singleShot(0, this, [this] { done(QDialog::Rejected); });
        return;
    }
    CreateGridFromADORecordSet();
}

void frmViewQueryResults::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    if (m_blnShown)
        return;
    m_blnShown = true;
    // Loading (and fetching, when no rows were given) starts once the window is on the screen,
    // so the busy indicator has a window to cover and the window never stays blank.
    QTimer::singleShot(0, this, [this] {
        run([this] {
            if (!m_blnLoaded)
                Load();
            else if (m_blnCloseOnActivate)
                done(QDialog::Rejected);
        });
    });
}

bool frmViewQueryResults::fetch(std::int32_t limit, std::shared_ptr<cRecordset>& rows,
                                std::string& error) {
    auto cancellation = std::make_shared<DbCancellation>();
    struct Result {
        std::shared_ptr<cRecordset> rows;
        std::string error;
    };
    auto result = std::make_shared<Result>();
    // The worker gets its own copy of the connection settings and of the statement, so nothing
    // it reads can change while it runs.
    auto work = [connection = *m_DbConnection, sql = m_strSQLQuery, limit, cancellation, result] {
        result->rows = connection.FireQuery(sql, result->error, limit, cancellation.get());
    };
    const bool completed = runInBackground(QStringLiteral("Fetching rows..."), work,
                                           [cancellation] { cancellation->Cancel(); });
    if (!completed || cancellation->blnCancelled())
        return false;
    rows = std::move(result->rows);
    error = std::move(result->error);
    return true;
}

bool frmViewQueryResults::runInBackground(const QString& strText, const std::function<void()>& work,
                                          const std::function<void()>& cancel) {
    // While the work runs, the controls that would start other work are disabled and closing
    // cancels it; both end however the work ends, and the activation and the focus go back
    // where they were (the busy indicator takes the activation, and not every platform gives
    // it back).
    struct WorkScope {
        frmViewQueryResults& viewer;
        QPointer<QWidget> focus = QApplication::focusWidget();
        bool wasActive = false;
        WorkScope(frmViewQueryResults& owner, const std::function<void()>& cancelWork)
            : viewer(owner), wasActive(owner.isActiveWindow()) {
            viewer.m_cancelWork = cancelWork;
            viewer.setWorking(true);
        }
        ~WorkScope() {
            viewer.m_cancelWork = nullptr;
            viewer.setWorking(false);
            if (wasActive && !viewer.isActiveWindow() && viewer.isVisible())
                viewer.activateWindow();
            if (focus && focus->isEnabled() && focus->window() == viewer.window())
                focus->setFocus();
        }
        WorkScope(const WorkScope&) = delete;
        WorkScope& operator=(const WorkScope&) = delete;
    };
    WorkScope scope(*this, cancel);
    BusyPointerScope busy(m_services.busyPointer.get());
    return RunInBackground(this, strText, work, cancel);
}

void frmViewQueryResults::setWorking(bool working) {
    for (QWidget* control :
         {static_cast<QWidget*>(m_txtRows), static_cast<QWidget*>(m_cmdRefresh),
          static_cast<QWidget*>(m_txtSearchText), static_cast<QWidget*>(m_cmdSearch),
          static_cast<QWidget*>(m_cmdPrint), static_cast<QWidget*>(m_cmdExport)})
        control->setEnabled(!working);
    if (working)
        m_cmdCopySelection->setEnabled(false);
    else
        EnableButtons();
}

void frmViewQueryResults::CreateGridFromADORecordSet() {
    std::shared_ptr<cRecordset> rows = m_RecordSet;
    if (!rows) {
        if (!m_DbConnection)
            return;
        std::string error;
        if (!fetch(m_lngNrRecordsToShow, rows, error))
            return; // Cancelled by the user: the rows shown stay, nothing more is said.
        if (!error.empty()) {
            m_services.messageBox->Show(QString::fromLatin1(kCaption),
                                        QString::fromStdString(error), MessageIcon::Critical,
                                        MessageButtons::Ok);
            return;
        }
        if (!rows)
            return;
    }
    {
        BusyPointerScope busy(m_services.busyPointer.get());
        bindGrid(rows);
    }
    m_txtRows->setText(
        QString::number(std::max<std::int32_t>(rows->RecordCount(), kMinSavedNrRecords)));
}

void frmViewQueryResults::bindGrid(std::shared_ptr<cRecordset> rows) {
    m_RecordSet = rows;
    m_model->setRecordset(std::move(rows));
    const std::int32_t count = m_RecordSet->RecordCount();
    m_lblRecordCount->setText(count == 1
                                  ? QStringLiteral("1 row")
                                  : QStringLiteral("%1 rows").arg(QLocale().toString(count)));
    fitColumnWidths();
    if (count > 0 && m_model->columnCount() > 0)
        m_jgQueryResults->setCurrentIndex(m_model->index(0, 0));
    EnableButtons();
}

void frmViewQueryResults::fitColumnWidths() {
    // Only the rows a screen shows are measured: the header's text and each visible value,
    // plus the cell's margins, capped so one long text does not push the others out of sight.
    const QFontMetrics metrics(m_jgQueryResults->font());
    const QFontMetrics headerMetrics(m_jgQueryResults->horizontalHeader()->font());
    const int rowHeight = std::max(1, m_jgQueryResults->verticalHeader()->defaultSectionSize());
    const int visibleRows =
        std::max(1, std::max(m_jgQueryResults->viewport()->height(), height()) / rowHeight + 1);
    const int rows = std::min(m_model->rowCount(), visibleRows);
    const int margin = 2 * (m_jgQueryResults->style()->pixelMetric(QStyle::PM_FocusFrameHMargin,
                                                                   nullptr, m_jgQueryResults) +
                            1) +
                       12;
    for (int c = 0; c < m_model->columnCount(); ++c) {
        int width =
            headerMetrics.horizontalAdvance(m_model->headerData(c, Qt::Horizontal).toString()) +
            margin + 8;
        for (int r = 0; r < rows; ++r)
            width = std::max(width, metrics.horizontalAdvance(m_model->displayText(r, c)) + margin);
        m_jgQueryResults->horizontalHeader()->resizeSection(c,
                                                            std::min(width, kMaxFittedColumnWidth));
    }
}

void frmViewQueryResults::EnableButtons() {
    const bool rows = m_RecordSet && m_RecordSet->FieldCount() > 0;
    m_cmdExport->setEnabled(rows);
    m_cmdCopySelection->setEnabled(
        rows && m_jgQueryResults->selectionModel()->selectedIndexes().size() > 1);
}

int frmViewQueryResults::GetCurrentColumn() const {
    const QModelIndex current = m_jgQueryResults->currentIndex();
    return current.isValid() ? current.column() : 0;
}

void frmViewQueryResults::Refresh() {
    std::int32_t number = 0;
    if (!readWholeNumber(m_txtRows->text(), number)) {
        m_services.messageBox->Show(kRefreshCaption, kNotANumberText, MessageIcon::Critical,
                                    MessageButtons::Ok);
        m_txtRows->setFocus();
        return;
    }
    m_lngNrRecordsToShow = number;
    if (number < 1) {
        m_services.messageBox->Show(kRefreshCaption, kBelowOneText, MessageIcon::Exclamation,
                                    MessageButtons::Ok);
        m_txtRows->setFocus();
        return;
    }
    // The rows shown stay until the new ones have arrived: a cancelled or failed fetch leaves
    // them in place.
    const std::shared_ptr<cRecordset> previous = m_RecordSet;
    m_RecordSet.reset();
    CreateGridFromADORecordSet();
    if (!m_RecordSet)
        m_RecordSet = previous;
}

void frmViewQueryResults::Search() {
    const QString text = m_txtSearchText->text();
    if (text.trimmed().isEmpty() || !m_RecordSet)
        return;
    const int column = GetCurrentColumn();
    const int count = m_model->rowCount();
    if (count == 0 || column >= m_model->columnCount())
        return;
    const QModelIndex current = m_jgQueryResults->currentIndex();
    const int start = current.isValid() ? current.row() : -1;
    // The search starts below the current row and wraps round to the top, so pressing Search
    // again finds the next match. A cell matches when it contains the text, case aside.
    for (int step = 1; step <= count; ++step) {
        const int row = (start + step) % count;
        const DbValue& value = m_RecordSet->value(row, column);
        bool match = false;
        if (value.Kind() == DbValueKind::Text) {
            const std::string_view cell = value.AsText();
            match = QString::fromUtf8(cell.data(), static_cast<qsizetype>(cell.size()))
                        .contains(text, Qt::CaseInsensitive);
        } else if (!value.IsNull()) {
            match = QString::fromStdString(value.ToString()).contains(text, Qt::CaseInsensitive);
        }
        if (match) {
            const QModelIndex found = m_model->index(row, column);
            m_jgQueryResults->selectionModel()->setCurrentIndex(
                found, QItemSelectionModel::ClearAndSelect);
            m_jgQueryResults->scrollTo(found, QAbstractItemView::PositionAtCenter);
            return;
        }
    }
    QApplication::beep();
}

std::string frmViewQueryResults::ClipboardText(const cRecordset& rows) {
    std::vector<int> rowPositions(static_cast<std::size_t>(rows.RecordCount()));
    for (std::size_t r = 0; r < rowPositions.size(); ++r)
        rowPositions[r] = static_cast<int>(r);
    std::vector<int> columnPositions(static_cast<std::size_t>(rows.FieldCount()));
    for (std::size_t c = 0; c < columnPositions.size(); ++c)
        columnPositions[c] = static_cast<int>(c);
    return ClipboardText(rows, rowPositions, columnPositions);
}

std::string frmViewQueryResults::ClipboardText(const cRecordset& rows,
                                               const std::vector<int>& rowPositions,
                                               const std::vector<int>& columnPositions) {
    std::string text;
    for (std::size_t c = 0; c < columnPositions.size(); ++c) {
        if (c > 0)
            text += '\t';
        text += rows.FieldName(columnPositions[c]);
    }
    text += "\r\n\r\n";
    const auto appendRow = [&rows, &columnPositions](std::string& out, int row) {
        for (std::size_t c = 0; c < columnPositions.size(); ++c) {
            if (c > 0)
                out += '\t';
            const std::size_t start = out.size();
            appendValue(out, rows.value(row, columnPositions[c]));
            trimTrailingBlanks(out, start);
        }
        out += "\r\n";
    };
    reserveForRows(text, rowPositions.size(), [&](std::string& out, std::size_t position) {
        appendRow(out, rowPositions[position]);
    });
    for (const int row : rowPositions)
        appendRow(text, row);
    return text;
}

void frmViewQueryResults::WriteCsv(const cRecordset& rows, std::ostream& out,
                                   const std::function<bool()>& cancelled) {
    writeDelimited(rows, out, ',', appendCsvField, cancelled);
}

void frmViewQueryResults::WriteTsv(const cRecordset& rows, std::ostream& out,
                                   const std::function<bool()>& cancelled) {
    writeDelimited(rows, out, '\t', appendTsvField, cancelled);
}

void frmViewQueryResults::CopyText(const std::function<std::string()>& makeText) {
    // Any failure on the way (memory for a very large text, the clipboard refusing it) leaves
    // the clipboard as it was and is reported as the original reports it.
    try {
        BusyPointerScope busy(m_services.busyPointer.get());
        const QModelIndex current = m_jgQueryResults->currentIndex();
        // The text of many rows takes a while: it is made off the user-interface thread (the
        // rows are read only), so the window keeps repainting. Cancel drops it when it is done.
        auto text = std::make_shared<QString>();
        auto cancelled = std::make_shared<std::atomic<bool>>(false);
        const bool completed = runInBackground(
            QStringLiteral("Copying rows..."),
            [text, &makeText] { *text = QString::fromStdString(makeText()); },
            [cancelled] { cancelled->store(true); });
        if (!completed || cancelled->load())
            return;
        m_services.clipboard->Clear();
        m_services.clipboard->SetText(*text);
        if (current.isValid())
            m_jgQueryResults->setCurrentIndex(current);
    } catch (...) {
        m_services.messageBox->Show(kCopyCaption, kMemoryFullText, MessageIcon::Critical,
                                    MessageButtons::Ok);
    }
}

void frmViewQueryResults::CopyAll() {
    const std::shared_ptr<cRecordset> rows = m_RecordSet;
    CopyText([&rows]() -> std::string {
        if (!rows)
            return "\r\n\r\n";
        return ClipboardText(*rows);
    });
}

void frmViewQueryResults::CopySelection() {
    const QModelIndexList selected = m_jgQueryResults->selectionModel()->selectedIndexes();
    if (selected.size() <= 1 || !m_RecordSet) {
        CopyAll();
        return;
    }
    // The rows and columns that hold a selected cell, in the grid's order; a cell of them that
    // is not selected itself is copied empty.
    std::set<int> rowSet;
    std::set<int> columnSet;
    std::set<std::pair<int, int>> cells;
    for (const QModelIndex& index : selected) {
        rowSet.insert(index.row());
        columnSet.insert(index.column());
        cells.emplace(index.row(), index.column());
    }
    const std::vector<int> rowPositions(rowSet.begin(), rowSet.end());
    const std::vector<int> columnPositions(columnSet.begin(), columnSet.end());
    const std::shared_ptr<cRecordset> rows = m_RecordSet;
    CopyText([&]() -> std::string {
        if (cells.size() == rowPositions.size() * columnPositions.size())
            return ClipboardText(*rows, rowPositions, columnPositions);
        // A ragged selection: the same text with the unselected cells left out.
        std::string text;
        for (std::size_t c = 0; c < columnPositions.size(); ++c) {
            if (c > 0)
                text += '\t';
            text += rows->FieldName(columnPositions[c]);
        }
        text += "\r\n\r\n";
        for (const int row : rowPositions) {
            for (std::size_t c = 0; c < columnPositions.size(); ++c) {
                if (c > 0)
                    text += '\t';
                if (!cells.contains({row, columnPositions[c]}))
                    continue;
                const std::size_t start = text.size();
                appendValue(text, rows->value(row, columnPositions[c]));
                trimTrailingBlanks(text, start);
            }
            text += "\r\n";
        }
        return text;
    });
}

void frmViewQueryResults::Export() {
    if (!m_RecordSet)
        return;
    QFileDialog dialog(this, QStringLiteral("Export Query Results"));
    dialog.setObjectName(QStringLiteral("exportDialog"));
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    dialog.setOption(QFileDialog::DontUseNativeDialog, true);
    dialog.setNameFilters({kCsvFilter, kTsvFilter});
    dialog.setDefaultSuffix(QStringLiteral("csv"));
    connect(&dialog, &QFileDialog::filterSelected, &dialog, [&dialog](const QString& filter) {
        dialog.setDefaultSuffix(filter == kTsvFilter ? QStringLiteral("tsv")
                                                     : QStringLiteral("csv"));
    });
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return;
    const QString path = dialog.selectedFiles().constFirst();
    const QString suffix = QFileInfo(path).suffix().toLower();
    const bool tsv = suffix == QStringLiteral("tsv") || suffix == QStringLiteral("txt") ||
                     (suffix != QStringLiteral("csv") && dialog.selectedNameFilter() == kTsvFilter);

    // Writing a large result takes a while: it runs off the user-interface thread behind the
    // busy indicator, and Cancel stops it (the part written is removed).
    struct Outcome {
        bool written = false;
    };
    auto outcome = std::make_shared<Outcome>();
    auto stop = std::make_shared<std::atomic<bool>>(false);
    const std::string file = path.toStdString();
    auto work = [rows = m_RecordSet, file, tsv, stop, outcome] {
        std::ofstream out(file, std::ios::binary | std::ios::trunc);
        if (!out)
            return;
        const auto cancelled = [&stop] {
            return stop->load();
        };
        if (tsv)
            WriteTsv(*rows, out, cancelled);
        else
            WriteCsv(*rows, out, cancelled);
        out.close();
        outcome->written = static_cast<bool>(out) && !stop->load();
    };
    const bool completed = runInBackground(QStringLiteral("Writing %1...").arg(path), work,
                                           [stop] { stop->store(true); });
    if (!completed || stop->load()) {
        QFile::remove(path);
        return;
    }
    if (!outcome->written)
        m_services.messageBox->Show(kExportCaption,
                                    QStringLiteral("The file could not be written:\r\n\r\n") + path,
                                    MessageIcon::Critical, MessageButtons::Ok);
}

bool frmViewQueryResults::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress)
        return QDialog::eventFilter(watched, event);
    auto* key = static_cast<QKeyEvent*>(event);
    if (watched == m_txtRows) {
        // Only digits reach the row limit by typing; backspace and the keys that type no
        // character (arrows, Delete, shortcuts such as paste) pass as well.
        const QString text = key->text();
        if (!text.isEmpty() && key->modifiers().testFlag(Qt::ControlModifier) == false) {
            for (const QChar c : text) {
                const bool digit = c >= QLatin1Char('0') && c <= QLatin1Char('9');
                if (!digit && c != QChar(0x08) && c.isPrint())
                    return true;
            }
        }
        return false;
    }
    if (watched == m_jgQueryResults && key->matches(QKeySequence::Copy)) {
        run([this] { CopySelection(); });
        return true;
    }
    return QDialog::eventFilter(watched, event);
}

void frmViewQueryResults::done(int result) {
    if (m_cancelWork) {
        // The fetch's own loop is still running: stop it; the viewer stays open with the rows
        // it had.
        m_cancelWork();
        return;
    }
    if (m_blnLoaded) {
        run([this] {
            m_lngNrRecordsToShow =
                std::clamp(m_lngNrRecordsToShow, kMinSavedNrRecords, kMaxSavedNrRecords);
            m_services.settings->SaveSetting(QString::fromLatin1(kSettingsSection),
                                             QString::fromLatin1(kSettingsKey),
                                             QString::number(m_lngNrRecordsToShow));
        });
    }
    run([this] {
        saveDialogSize(*this, m_services.settings.get(), QString::fromLatin1(kSizeKey));
    });
    QDialog::done(result);
}

} // namespace marovin
