// The query results viewer on the sample database: loading with the stored row limit, the
// clamp when it closes, the row-limit field and its refresh rules, find in the current column,
// the clipboard texts byte for byte, export to CSV and tab-separated text, NULL against empty
// text, the missing connection and a failing statement, and a refresh cancelled through the
// busy indicator.

#include "DialogHarness.h"
#include "marovin/cRecordset.h"
#include "marovin/frmViewQueryResults.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QCompleter>
#include <QDialogButtonBox>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFont>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <sstream>
#include <stdexcept>

namespace marovin::test {
namespace {

// A thousand numbered rows, whatever the sample holds.
const char* const kThousandRows =
    "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1000) "
    "SELECT i AS Number, 'Row ' || i AS Label FROM n";
// A statement that runs for many seconds unless it is interrupted.
const char* const kLongQuery =
    "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 500000000) "
    "SELECT count(*) AS Total FROM n";
// Total freight per customer, the sample's own rows.
const char* const kCustomersFreight =
    "SELECT Customers.CompanyName, Customers.Country, SUM(Orders.Freight) AS TotalFreight "
    "FROM dbo.Customers INNER JOIN dbo.Orders ON Orders.CustomerID = Customers.CustomerID "
    "GROUP BY Customers.CompanyName, Customers.Country ORDER BY Customers.CompanyName";

// A clipboard that refuses every text, as a clipboard without memory would.
class RefusingClipboard : public iClipboard {
public:
    void Clear() override {}
    void SetText(const QString&) override { throw std::bad_alloc(); }
    QString Text() const override { return {}; }
};

class ViewQueryResults : public DialogTest {
protected:
    PlatformServices viewerServices() const {
        PlatformServices result = services();
        result.clipboard = clipboard;
        return result;
    }

    // The rows a statement returns on the sample database (the test fails when it does not run).
    static std::shared_ptr<cRecordset> rowsOf(const std::string& sql, std::int32_t limit = 0) {
        std::string error;
        auto rows = SampleConnection()->FireQuery(sql, error, limit);
        EXPECT_NE(rows, nullptr) << error;
        return rows;
    }

    // A viewer as the widget's preview sets it up: the connection, the statement and 50.
    std::unique_ptr<frmViewQueryResults> makeViewer(const std::string& sql) {
        auto viewer = std::make_unique<frmViewQueryResults>(viewerServices());
        viewer->setDbConnection(SampleConnection());
        viewer->setStrSQLQuery(sql);
        viewer->setLngNrRecordsToShow(50);
        return viewer;
    }

    // Shows a viewer given these rows already fetched (the statement is what Refresh runs).
    std::unique_ptr<frmViewQueryResults> showWith(std::shared_ptr<cRecordset> rows,
                                                  const std::string& sql = "") {
        auto viewer = makeViewer(sql);
        viewer->setRecordSet(std::move(rows));
        show(*viewer);
        return viewer;
    }

    // Shows a viewer that was given no rows and waits until it has fetched them or said why not.
    void showAndWaitForRows(frmViewQueryResults& viewer) {
        show(viewer);
        ASSERT_TRUE(QTest::qWaitFor(
            [&] { return viewer.RecordSet() != nullptr || !box->shown().empty(); }));
    }

    static QTableView* grid(const QWidget& viewer) {
        return child<QTableView>(viewer, "jgQueryResults");
    }
    static QString rowsText(const QWidget& viewer) {
        return child<QLineEdit>(viewer, "txtRows")->text();
    }
    // Clicks a cell of the grid with the mouse.
    static void clickCell(QTableView* view, int row, int column,
                          Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        const QModelIndex index = view->model()->index(row, column);
        view->scrollTo(index);
        QTest::mouseClick(view->viewport(), Qt::LeftButton, modifiers,
                          view->visualRect(index).center());
    }
    QString savedLimit() const {
        return settings->GetSetting("QueryPreview", "NrRecords", "(none)");
    }

    // Chooses the folder, the type and the file name in the export dialog and saves.
    static void saveAs(QDialog& dialog, const QString& folder, const QString& name,
                       const QString& filter) {
        auto* files = qobject_cast<QFileDialog*>(&dialog);
        ASSERT_NE(files, nullptr);
        EXPECT_EQ(files->objectName(), QStringLiteral("exportDialog"));
        if (!filter.isEmpty()) {
            auto* types = files->findChild<QComboBox*>(QStringLiteral("fileTypeCombo"));
            ASSERT_NE(types, nullptr);
            const int index = types->findText(filter, Qt::MatchStartsWith);
            ASSERT_GE(index, 0);
            types->setFocus();
            while (types->currentIndex() < index)
                QTest::keyClick(types, Qt::Key_Down);
        }
        files->setDirectory(folder);
        auto* edit = files->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
        ASSERT_NE(edit, nullptr);
        edit->setFocus();
        QTest::keyClick(edit, Qt::Key_A, Qt::ControlModifier);
        type(edit, name);
        // The completion list that typing opened is closed first, then Save is clicked.
        if (edit->completer() != nullptr && edit->completer()->popup()->isVisible())
            QTest::keyClick(edit->completer()->popup(), Qt::Key_Escape);
        auto* buttons = files->findChild<QDialogButtonBox*>(QStringLiteral("buttonBox"));
        ASSERT_NE(buttons, nullptr);
        click(buttons->button(QDialogButtonBox::Save));
        EXPECT_FALSE(dialog.isVisible());
    }

    std::shared_ptr<MemoryClipboard> clipboard = std::make_shared<MemoryClipboard>();
};

TEST_F(ViewQueryResults, ControlsCarryTheirNamesAndKeys) {
    frmViewQueryResults viewer(viewerServices());
    for (const char* name :
         {"jgQueryResults", "txtRows", "cmdRefresh", "txtSearchText", "cmdSearch", "cmdPrint",
          "cmdCopySelection", "cmdExport", "cmdClose"}) {
        QWidget* control = viewer.findChild<QWidget*>(QString::fromLatin1(name));
        ASSERT_NE(control, nullptr) << name;
        EXPECT_FALSE(control->accessibleName().isEmpty()) << name;
    }
    EXPECT_EQ(child<QLabel>(viewer, "lblRows")->buddy(), child<QLineEdit>(viewer, "txtRows"));
    // Every button has its own key (the grid's corner button aside, which Ctrl+A stands for).
    QStringList keys;
    for (const char* name :
         {"cmdRefresh", "cmdSearch", "cmdPrint", "cmdCopySelection", "cmdExport", "cmdClose"}) {
        const QKeySequence key = button(viewer, name)->shortcut();
        EXPECT_FALSE(key.isEmpty()) << name;
        keys.append(key.toString());
    }
    keys.append(QKeySequence::mnemonic(child<QLabel>(viewer, "lblRows")->text()).toString());
    keys.append(QKeySequence::mnemonic(child<QLabel>(viewer, "lblSearchText")->text()).toString());
    keys.removeDuplicates();
    EXPECT_EQ(keys.size(), 8) << keys.join(' ').toStdString();
    EXPECT_EQ(viewer.windowTitle(), QStringLiteral("Preview Query Results"));
}

TEST_F(ViewQueryResults, StoredLimitIsFetchedAndSavedWithinFiveTo100) {
    struct Case {
        const char* stored; // nullptr: nothing stored, the given 50 counts
        int fetched;
        const char* field;
        const char* saved;
        bool escape; // Escape closes like cmdClose
    };
    // Fewer than five rows came back: the field shows five; a stored 0 means 100.
    for (const Case& c :
         {Case{nullptr, 50, "50", "50", false}, Case{"250", 250, "250", "100", false},
          Case{"2", 2, "5", "5", true}, Case{"0", 100, "100", "100", false}}) {
        SCOPED_TRACE(c.stored ? c.stored : "none");
        if (c.stored)
            settings->SaveSetting("QueryPreview", "NrRecords", c.stored);
        auto viewer = makeViewer(kThousandRows);
        showAndWaitForRows(*viewer);
        EXPECT_TRUE(box->shown().empty());
        EXPECT_EQ(viewer->lngNrRecordsToShow(), c.fetched);
        EXPECT_EQ(grid(*viewer)->model()->rowCount(), c.fetched);
        EXPECT_EQ(rowsText(*viewer), QString::fromLatin1(c.field));
        EXPECT_EQ(busy->lngDepth(), 0);
        if (c.escape)
            press(grid(*viewer), Qt::Key_Escape);
        else
            click(button(*viewer, "cmdClose"));
        EXPECT_FALSE(viewer->isVisible());
        EXPECT_EQ(QString::number(viewer->lngNrRecordsToShow()), QString::fromLatin1(c.saved));
        EXPECT_EQ(savedLimit(), QString::fromLatin1(c.saved));
    }
}

TEST_F(ViewQueryResults, GivenRowsAreShownWithoutFetchingAndThreeRowsShowFive) {
    auto rows = rowsOf(kThousandRows, 3);
    auto viewer = makeViewer("SELECT this would fail if it were run");
    viewer->setRecordSet(rows);
    EXPECT_EQ(viewer->RecordSet(), rows);
    EXPECT_EQ(grid(*viewer)->model()->rowCount(), 3);
    EXPECT_EQ(grid(*viewer)->model()->columnCount(), 2);
    EXPECT_EQ(grid(*viewer)->model()->headerData(1, Qt::Horizontal).toString(),
              QStringLiteral("Label"));
    EXPECT_EQ(rowsText(*viewer), QStringLiteral("5"));
    show(*viewer);
    QApplication::processEvents();
    EXPECT_TRUE(box->shown().empty());
    EXPECT_EQ(viewer->RecordSet(), rows);
    EXPECT_EQ(busy->lngDepth(), 0);
    EXPECT_GT(busy->lngShown(), 0);
}

TEST_F(ViewQueryResults, RefreshFetchesWithTheTypedLimit) {
    auto viewer = showWith(rowsOf(kThousandRows, 50), kThousandRows);
    auto* rows = child<QLineEdit>(*viewer, "txtRows");
    retype(rows, "120");
    click(button(*viewer, "cmdRefresh"));
    EXPECT_TRUE(box->shown().empty());
    EXPECT_EQ(viewer->lngNrRecordsToShow(), 120);
    EXPECT_EQ(grid(*viewer)->model()->rowCount(), 120);
    EXPECT_EQ(rows->text(), QStringLiteral("120"));
    // Enter in the field refreshes as well.
    retype(rows, "7");
    press(rows, Qt::Key_Return);
    EXPECT_EQ(grid(*viewer)->model()->rowCount(), 7);
    EXPECT_EQ(rows->text(), QStringLiteral("7"));
    // The field was disabled during the fetch; the focus is back in it.
    EXPECT_EQ(QApplication::focusWidget(), rows);
    EXPECT_EQ(busy->lngDepth(), 0);
}

TEST_F(ViewQueryResults, RefreshWithoutNumberOrWithZeroIsRefused) {
    auto given = rowsOf(kThousandRows, 50);
    auto viewer = showWith(given, kThousandRows);
    auto* rows = child<QLineEdit>(*viewer, "txtRows");
    retype(rows, "");
    button(*viewer, "cmdSearch")->setFocus();
    click(button(*viewer, "cmdRefresh"));
    expectMessages(1, "Refresh query results", "Please enter number", MessageIcon::Critical);
    EXPECT_EQ(QApplication::focusWidget(), rows);
    EXPECT_EQ(viewer->lngNrRecordsToShow(), 50);

    // Letters cannot be typed, but they can be pasted.
    QApplication::clipboard()->setText(QStringLiteral("12a"));
    rows->setFocus();
    QTest::keyClick(rows, Qt::Key_V, Qt::ControlModifier);
    ASSERT_EQ(rows->text(), QStringLiteral("12a"));
    click(button(*viewer, "cmdRefresh"));
    expectMessages(2, "Refresh query results", "Please enter number", MessageIcon::Critical);
    EXPECT_EQ(grid(*viewer)->model()->rowCount(), 50);

    retype(rows, "0");
    click(button(*viewer, "cmdRefresh"));
    expectMessages(3, "Refresh query results", "Number must be > 0", MessageIcon::Exclamation,
                   MessageButtons::Ok);
    EXPECT_EQ(QApplication::focusWidget(), rows);
    // The value below 1 stays stored, the rows stay shown; closing saves the clamped 5.
    EXPECT_EQ(viewer->lngNrRecordsToShow(), 0);
    EXPECT_EQ(viewer->RecordSet(), given);
    EXPECT_EQ(grid(*viewer)->model()->rowCount(), 50);
    click(button(*viewer, "cmdClose"));
    EXPECT_EQ(savedLimit(), QStringLiteral("5"));
}

TEST_F(ViewQueryResults, RowLimitTakesOnlyDigitsByTyping) {
    frmViewQueryResults viewer(viewerServices());
    show(viewer);
    auto* rows = child<QLineEdit>(viewer, "txtRows");
    retype(rows, "1a2.b -3x ");
    EXPECT_EQ(rows->text(), QStringLiteral("123"));
    QTest::keyClick(rows, Qt::Key_Backspace);
    EXPECT_EQ(rows->text(), QStringLiteral("12"));
    type(rows, QString::fromUtf8("\xc3\xa9\xd9\xa3"
                                 "4"));
    EXPECT_EQ(rows->text(), QStringLiteral("124"));
    QTest::keyClick(rows, Qt::Key_Home);
    QTest::keyClick(rows, Qt::Key_Delete);
    EXPECT_EQ(rows->text(), QStringLiteral("24"));
}

TEST_F(ViewQueryResults, CopyDropsTrailingBlanksAndKeepsLeadingOnes) {
    auto viewer = showWith(rowsOf("SELECT '  lead' AS T, 'trail   ' AS U, '  both  ' AS V, "
                                  "'   ' AS W, 'in  side' AS X "
                                  "UNION ALL SELECT 'a', 'b ', NULL, '', 'c'"));
    clickCell(grid(*viewer), 1, 2);
    click(button(*viewer, "cmdPrint"));
    EXPECT_EQ(clipboard->Text(), QStringLiteral("T\tU\tV\tW\tX\r\n\r\n"
                                                "  lead\ttrail\t  both\t\tin  side\r\n"
                                                "a\tb\t\t\tc\r\n"));
    EXPECT_EQ(clipboard->lngClears(), 1);
    EXPECT_TRUE(box->shown().empty());
    EXPECT_EQ(busy->lngDepth(), 0);
    // The current cell is where it was.
    EXPECT_EQ(grid(*viewer)->currentIndex().row(), 1);
    EXPECT_EQ(viewer->GetCurrentColumn(), 2);
}

TEST_F(ViewQueryResults, CopyFailureSaysMemoryFull) {
    PlatformServices failing = viewerServices();
    failing.clipboard = std::make_shared<RefusingClipboard>();
    frmViewQueryResults viewer(failing);
    viewer.setDbConnection(SampleConnection());
    viewer.setRecordSet(rowsOf("SELECT 1 AS A"));
    show(viewer);
    click(button(viewer, "cmdPrint"));
    expectMessages(1, "Copy queryresults to clipboard", "Memory full.", MessageIcon::Critical);
    EXPECT_EQ(busy->lngDepth(), 0);
}

TEST_F(ViewQueryResults, CopyOfASelectionTakesOnlyTheSelectedCells) {
    auto viewer = showWith(rowsOf(kThousandRows, 10));
    QTableView* view = grid(*viewer);
    auto* copySelection = button(*viewer, "cmdCopySelection");
    clickCell(view, 2, 0);
    EXPECT_FALSE(copySelection->isEnabled());
    clickCell(view, 4, 1, Qt::ShiftModifier);
    EXPECT_TRUE(copySelection->isEnabled());
    click(copySelection);
    EXPECT_EQ(clipboard->Text(), QStringLiteral("Number\tLabel\r\n\r\n"
                                                "3\tRow 3\r\n4\tRow 4\r\n5\tRow 5\r\n"));

    // Ctrl+C in the grid copies the selection, here a ragged one (the last cell is clicked off
    // again): the cell left out stays empty.
    clickCell(view, 0, 1);
    clickCell(view, 1, 0, Qt::ShiftModifier);
    clickCell(view, 1, 1, Qt::ControlModifier);
    QTest::keyClick(view, Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(clipboard->Text(), QStringLiteral("Number\tLabel\r\n\r\n1\tRow 1\r\n2\t\r\n"));

    // With a single cell Ctrl+C copies everything, as cmdPrint does.
    clickCell(view, 0, 0);
    QTest::keyClick(view, Qt::Key_C, Qt::ControlModifier);
    EXPECT_TRUE(clipboard->Text().startsWith(QStringLiteral("Number\tLabel\r\n\r\n1\tRow 1\r\n")));
    EXPECT_TRUE(clipboard->Text().endsWith(QStringLiteral("\r\n10\tRow 10\r\n")));
}

TEST_F(ViewQueryResults, SearchMovesTheCurrentRowWithinTheCurrentColumn) {
    auto viewer = showWith(rowsOf("SELECT 'Alfreds' AS Name, 'Berlin' AS City "
                                  "UNION ALL SELECT 'Berglunds', 'Luleå' "
                                  "UNION ALL SELECT 'Blondel', 'Strasbourg' "
                                  "UNION ALL SELECT 'Bon app', 'Marseille' "
                                  "UNION ALL SELECT 'Frankenversand', 'München'"));
    QTableView* view = grid(*viewer);
    auto* text = child<QLineEdit>(*viewer, "txtSearchText");
    auto* search = button(*viewer, "cmdSearch");
    // Types the text, clicks Search and gives the current row.
    const auto find = [&](const QString& what) {
        retype(text, what);
        click(search);
        return view->currentIndex().row();
    };
    clickCell(view, 0, 0);
    EXPECT_EQ(find("bo"), 3);
    EXPECT_EQ(viewer->GetCurrentColumn(), 0);
    // "Berlin" stands in the second column only, which is not the current one.
    EXPECT_EQ(find("berl"), 3);
    // The search goes on below the current row and wraps round to the top.
    EXPECT_EQ(find("er"), 4);
    click(search);
    EXPECT_EQ(view->currentIndex().row(), 1);
    clickCell(view, 4, 1);
    retype(text, "BERLIN");
    press(text, Qt::Key_Return);
    EXPECT_EQ(view->currentIndex().row(), 0);
    EXPECT_EQ(viewer->GetCurrentColumn(), 1);
    // Blanks alone do nothing; a text found nowhere leaves the row.
    EXPECT_EQ(find("   "), 0);
    EXPECT_EQ(find("nowhere"), 0);
    EXPECT_TRUE(box->shown().empty());
}

TEST_F(ViewQueryResults, NullIsShownApartFromEmptyText) {
    auto viewer = showWith(rowsOf("SELECT NULL AS N, '' AS E, 12 AS I, 1.5 AS R, 'abc' AS T, "
                                  "Freight FROM dbo.Orders WHERE OrderID = (SELECT MIN(OrderID) "
                                  "FROM dbo.Orders)"));
    const QAbstractItemModel* model = grid(*viewer)->model();
    const auto cell = [model](int column, int role) {
        return model->index(0, column).data(role);
    };
    EXPECT_EQ(cell(0, Qt::DisplayRole).toString(), QStringLiteral("NULL"));
    EXPECT_TRUE(cell(0, Qt::FontRole).value<QFont>().italic());
    EXPECT_TRUE(cell(0, Qt::ForegroundRole).isValid());
    EXPECT_EQ(cell(1, Qt::DisplayRole).toString(), QString());
    EXPECT_FALSE(cell(1, Qt::FontRole).isValid());
    EXPECT_FALSE(cell(1, Qt::ForegroundRole).isValid());
    EXPECT_NE(cell(0, Qt::ToolTipRole).toString(), cell(1, Qt::ToolTipRole).toString());
    EXPECT_EQ(cell(2, Qt::DisplayRole).toString(), QStringLiteral("12"));
    EXPECT_EQ(cell(3, Qt::DisplayRole).toString(), QStringLiteral("1.5"));
    const auto alignment = [&](int column) {
        return cell(column, Qt::TextAlignmentRole).value<Qt::Alignment>() &
               Qt::AlignHorizontal_Mask;
    };
    EXPECT_EQ(alignment(1), Qt::AlignLeft);
    EXPECT_EQ(alignment(2), Qt::AlignRight);
    EXPECT_EQ(alignment(3), Qt::AlignRight);
    EXPECT_EQ(alignment(4), Qt::AlignLeft);
    EXPECT_EQ(alignment(5), Qt::AlignRight);
    // Captions stand over their values.
    const auto captionAlignment = [model](int column) {
        return model->headerData(column, Qt::Horizontal, Qt::TextAlignmentRole)
                   .value<Qt::Alignment>() &
               Qt::AlignHorizontal_Mask;
    };
    EXPECT_EQ(captionAlignment(2), Qt::AlignRight);
    EXPECT_EQ(captionAlignment(4), Qt::AlignLeft);
    // On the clipboard NULL and the empty text are both nothing.
    click(button(*viewer, "cmdPrint"));
    EXPECT_TRUE(clipboard->Text().startsWith(
        QStringLiteral("N\tE\tI\tR\tT\tFreight\r\n\r\n\t\t12\t1.5\tabc\t")));
}

TEST_F(ViewQueryResults, ColumnsAreFittedToTheirContent) {
    auto viewer = showWith(rowsOf("SELECT 1 AS A, 'a much longer text than the others' AS B, "
                                  "'x' AS LongColumnName"));
    QTableView* view = grid(*viewer);
    const QFontMetrics metrics(view->font());
    EXPECT_GE(view->columnWidth(1),
              metrics.horizontalAdvance(QStringLiteral("a much longer text than the others")));
    EXPECT_LT(view->columnWidth(0), view->columnWidth(1));
    EXPECT_GE(view->columnWidth(2), QFontMetrics(view->horizontalHeader()->font())
                                        .horizontalAdvance(QStringLiteral("LongColumnName")));
}

TEST_F(ViewQueryResults, NoConnectionIsReportedAndTheViewerCloses) {
    frmViewQueryResults viewer(viewerServices());
    viewer.setStrSQLQuery(kCustomersFreight);
    viewer.setLngNrRecordsToShow(50);
    show(viewer);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !viewer.isVisible(); }));
    expectMessages(1, "Preview Query Results", "No connection to SQL-Server", MessageIcon::Critical,
                   MessageButtons::Ok);
    EXPECT_EQ(viewer.RecordSet(), nullptr);

    // Given rows without a connection: the message comes at once, the viewer closes when shown.
    box->clear();
    frmViewQueryResults modal(viewerServices());
    modal.setRecordSet(rowsOf("SELECT 1 AS A"));
    expectMessages(1, "Preview Query Results", "No connection to SQL-Server");
    EXPECT_EQ(modal.exec(), QDialog::Rejected);
    EXPECT_EQ(box->shown().size(), 1u);
}

TEST_F(ViewQueryResults, FetchErrorIsShownUnderTheViewersCaption) {
    auto viewer = makeViewer("SELECT Missing FROM dbo.NoSuchTable");
    showAndWaitForRows(*viewer);
    ASSERT_EQ(box->shown().size(), 1u);
    EXPECT_EQ(box->shown()[0].strCaption, QStringLiteral("Preview Query Results"));
    EXPECT_TRUE(box->shown()[0].strText.startsWith(QStringLiteral("Error\r\n\r\n")))
        << box->shown()[0].strText.toStdString();
    EXPECT_TRUE(box->shown()[0].strText.contains(QStringLiteral("NoSuchTable")))
        << box->shown()[0].strText.toStdString();
    EXPECT_EQ(box->shown()[0].icon, MessageIcon::Critical);
    EXPECT_EQ(grid(*viewer)->model()->rowCount(), 0);
    EXPECT_TRUE(viewer->isVisible());
    EXPECT_EQ(busy->lngDepth(), 0);
}

TEST_F(ViewQueryResults, CancelledRefreshLeavesThePreviousRows) {
    auto viewer = makeViewer(kLongQuery);
    auto given = rowsOf(kCustomersFreight);
    ASSERT_GT(given->RecordCount(), 0);
    viewer->setRecordSet(given);
    show(*viewer);
    const QString before = rowsText(*viewer);
    bool pressed = false;
    QTimer::singleShot(0, qApp, [&pressed] {
        QPushButton* cancel = nullptr;
        const bool appeared = QTest::qWaitFor(
            [&cancel] {
                cancel = qobject_cast<QPushButton*>(visibleWidget(QStringLiteral("cmdCancelWork")));
                return cancel != nullptr;
            },
            20000);
        if (!appeared)
            return;
        QTest::mouseClick(cancel, Qt::LeftButton, Qt::NoModifier, cancel->rect().center());
        pressed = true;
    });
    click(button(*viewer, "cmdRefresh"));
    ASSERT_TRUE(pressed) << "the busy indicator's Cancel button did not appear";
    EXPECT_TRUE(box->shown().empty());
    EXPECT_EQ(viewer->RecordSet(), given);
    EXPECT_EQ(grid(*viewer)->model()->rowCount(), given->RecordCount());
    EXPECT_EQ(grid(*viewer)->model()->index(0, 0).data().toString().toStdString(),
              given->value(0, 0).ToString());
    EXPECT_EQ(rowsText(*viewer), before);
    EXPECT_TRUE(button(*viewer, "cmdRefresh")->isEnabled());
    // The busy indicator had the activation; once the viewer has it back, the focus is where
    // it was.
    EXPECT_TRUE(QTest::qWaitForWindowActive(viewer.get()));
    EXPECT_EQ(viewer->focusWidget(), button(*viewer, "cmdRefresh"));
    EXPECT_EQ(QApplication::focusWidget(), button(*viewer, "cmdRefresh"));
    EXPECT_EQ(busy->lngDepth(), 0);
    EXPECT_TRUE(viewer->isVisible());
}

// A result with every kind of value and every character the formats must take care of.
std::shared_ptr<cRecordset> awkwardRows() {
    std::vector<cRecordset::Column> columns = {
        {"Id", "integer"}, {"Name, full", "nvarchar"}, {"Note", "ntext"}, {"Price", "money"}};
    using V = DbValue;
    std::vector<DbValue> cells;
    const auto row = [&cells](std::initializer_list<DbValue> values) {
        cells.insert(cells.end(), values);
    };
    row({V(std::int64_t{1}), V("Smith, John"), V("He said \"hi\""), V(2.5)});
    row({V(std::int64_t{-2}), V("Line one\r\nLine two"), V("tab\there  "), V()});
    row({V(), V(""), V("M\xc3\xbcnchen\nend"), V(std::int64_t{0})});
    return std::make_shared<cRecordset>(std::move(columns), std::move(cells));
}

TEST_F(ViewQueryResults, CsvAndTabSeparatedTextByteForByte) {
    auto rows = awkwardRows();
    std::ostringstream csv;
    frmViewQueryResults::WriteCsv(*rows, csv);
    EXPECT_EQ(csv.str(), "Id,\"Name, full\",Note,Price\r\n"
                         "1,\"Smith, John\",\"He said \"\"hi\"\"\",2.5\r\n"
                         "-2,\"Line one\r\nLine two\",tab\there  ,\r\n"
                         ",,\"M\xc3\xbcnchen\nend\",0\r\n");
    std::ostringstream tsv;
    frmViewQueryResults::WriteTsv(*rows, tsv);
    EXPECT_EQ(tsv.str(), "Id\tName, full\tNote\tPrice\r\n"
                         "1\tSmith, John\tHe said \"hi\"\t2.5\r\n"
                         "-2\tLine one  Line two\ttab here  \t\r\n"
                         "\t\tM\xc3\xbcnchen end\t0\r\n");
    EXPECT_EQ(frmViewQueryResults::ClipboardText(*rows), "Id\tName, full\tNote\tPrice\r\n\r\n"
                                                         "1\tSmith, John\tHe said \"hi\"\t2.5\r\n"
                                                         "-2\tLine one\r\nLine two\ttab\there\t\r\n"
                                                         "\t\tM\xc3\xbcnchen\nend\t0\r\n");
    // A result without rows is its header alone.
    auto empty = std::make_shared<cRecordset>(
        std::vector<cRecordset::Column>{{"A", ""}, {"B\"", ""}}, std::vector<DbValue>{});
    std::ostringstream header;
    frmViewQueryResults::WriteCsv(*empty, header);
    EXPECT_EQ(header.str(), "A,\"B\"\"\"\r\n");
    EXPECT_EQ(frmViewQueryResults::ClipboardText(*empty), "A\tB\"\r\n\r\n");
}

QByteArray contents(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return "(missing)";
    return file.readAll();
}

TEST_F(ViewQueryResults, ExportWritesTheChosenFormat) {
    QTemporaryDir dir;
    auto viewer = showWith(awkwardRows());
    auto* exportButton = button(*viewer, "cmdExport");
    ASSERT_TRUE(exportButton->isEnabled());

    const QString csvPath = dir.filePath("comma");
    onNextModal([&](QDialog& dialog) { saveAs(dialog, dir.path(), "comma", QString()); });
    click(exportButton);
    std::ostringstream csv;
    frmViewQueryResults::WriteCsv(*awkwardRows(), csv);
    // The suffix of the chosen type is added.
    EXPECT_EQ(contents(csvPath + ".csv").toStdString(), csv.str());

    const QString tsvPath = dir.filePath("tabs");
    onNextModal([&](QDialog& dialog) { saveAs(dialog, dir.path(), "tabs", "Tab-separated"); });
    click(exportButton);
    std::ostringstream tsv;
    frmViewQueryResults::WriteTsv(*awkwardRows(), tsv);
    EXPECT_EQ(contents(tsvPath + ".tsv").toStdString(), tsv.str());

    // Cancelling the file dialog writes nothing.
    onNextModal([](QDialog& dialog) { dialog.reject(); });
    click(exportButton);
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files).size(), 2);
    EXPECT_TRUE(box->shown().empty());
}

} // namespace
} // namespace marovin::test
