// The table-definition text: what the diagram accepts and what it refuses, both through
// TableDefinition::parse and through AddTable.

#include "DiagramFixture.h"

#include <cmath>

namespace marovin::testing {
namespace {

QString lines(const QStringList& parts) {
    return parts.join(u'\n');
}

TEST(TableDefinitionParse, ReadsAliasColumnsAndCaptions) {
    const QString text = lines({"Orders", "", " ", "2", "OrderID", "OrderID", "", "", "3 4 0 0",
                                "Ship City", "Ship city", "", "", "3 4 0 0"});
    TableDefinition definition;
    QString error;
    ASSERT_TRUE(TableDefinition::parse(text, &definition, &error)) << error.toStdString();
    EXPECT_EQ(definition.strAlias, "Orders");
    ASSERT_EQ(definition.columns.size(), 2);
    EXPECT_EQ(definition.columns[0].strName, "OrderID");
    EXPECT_EQ(definition.columns[1].strName, "Ship City");
    EXPECT_EQ(definition.columns[1].strCaption, "Ship city");
}

TEST(TableDefinitionParse, BuildWritesTheExactLayout) {
    EXPECT_EQ(TableDefinition::build("T", {"a", "b"}),
              QString("T\n\n \n2\na\na\n\n\n3 4 0 0\nb\nb\n\n\n3 4 0 0"));
    EXPECT_EQ(TableDefinition::build("Empty", {}), QString("Empty\n\n \n0"));

    TableDefinition back;
    ASSERT_TRUE(TableDefinition::parse(TableDefinition::build("x", {"c1", "c 2", "c3"}), &back));
    EXPECT_EQ(back.strAlias, "x");
    ASSERT_EQ(back.columns.size(), 3);
    EXPECT_EQ(back.columns[1].strName, "c 2");
}

TEST(TableDefinitionParse, ATableWithoutColumnsIsAccepted) {
    TableDefinition definition;
    ASSERT_TRUE(TableDefinition::parse("Nothing\n\n \n0", &definition));
    EXPECT_EQ(definition.strAlias, "Nothing");
    EXPECT_TRUE(definition.columns.isEmpty());
}

struct Malformed {
    const char* name;
    QString text;
    const char* message; // a part of the expected error
};

void PrintTo(const Malformed& m, std::ostream* os) {
    *os << m.name;
}

class MalformedDefinition : public ::testing::TestWithParam<Malformed> {};

TEST_P(MalformedDefinition, IsRefusedWithAClearMessage) {
    TableDefinition definition;
    definition.strAlias = "untouched";
    QString error;
    EXPECT_FALSE(TableDefinition::parse(GetParam().text, &definition, &error));
    EXPECT_TRUE(error.contains(QString::fromUtf8(GetParam().message)))
        << "message was: " << error.toStdString();
    EXPECT_EQ(definition.strAlias, "untouched");
}

const QString kColumn = "c\nc\n\n\n3 4 0 0";

INSTANTIATE_TEST_SUITE_P(
    TableDefinitionParse, MalformedDefinition,
    ::testing::Values(
        Malformed{"Empty", "", "is empty"},
        Malformed{"TooFewLines", "T\n\n ", "needs at least four"},
        Malformed{"EmptyAlias", "\n\n \n0", "Line 1"},
        Malformed{"BlankAlias", "  \n\n \n0", "Line 1"},
        Malformed{"SecondLineNotEmpty", "T\nx\n \n0",
                  "Line 2 of the table definition must be empty"},
        Malformed{"ThirdLineEmpty", "T\n\n\n0",
                  "Line 3 of the table definition must be a single blank"},
        Malformed{"ThirdLineTwoBlanks", "T\n\n  \n0", "single blank"},
        Malformed{"CountNotANumber", "T\n\n \nx", "Line 4"},
        Malformed{"CountWithBlank", "T\n\n \n 1\n" + kColumn, "Line 4"},
        Malformed{"NegativeCount", "T\n\n \n-1", "Line 4"},
        Malformed{"HugeCount", "T\n\n \n99999999999999999999999", "Line 4"},
        Malformed{"LargestCount", "T\n\n \n9223372036854775807",
                  "announces 9223372036854775807 column(s)"},
        Malformed{"TooFewColumnLines", "T\n\n \n2\n" + kColumn, "announces 2 column(s)"},
        Malformed{"TooManyLines", "T\n\n \n1\n" + kColumn + "\nextra", "announces 1 column(s)"},
        Malformed{"TrailingLineFeed", "T\n\n \n1\n" + kColumn + "\n", "ends with a line feed"},
        Malformed{"CarriageReturns", "T\r\n\r\n \r\n0", "carriage return"},
        Malformed{"EmptyColumnName", "T\n\n \n1\n\nc\n\n\n3 4 0 0", "name of column 1"},
        Malformed{"ThirdColumnLineNotEmpty", "T\n\n \n1\nc\nc\nx\n\n3 4 0 0",
                  "Line 7 of the table definition (column 1) must be empty"},
        Malformed{"FourthColumnLineNotEmpty", "T\n\n \n1\nc\nc\n\nx\n3 4 0 0", "Line 8"},
        Malformed{"WrongTrailer", "T\n\n \n1\nc\nc\n\n\n3 4 0 1", "must be \"3 4 0 0\""}),
    [](const ::testing::TestParamInfo<Malformed>& info) { return std::string(info.param.name); });

class AddTableDefinition : public DiagramFixture {};

TEST_F(AddTableDefinition, AGoodDefinitionGivesABoxWithItsColumns) {
    QString error;
    ASSERT_TRUE(diagram->AddTable(TableDefinition::build("Orders", {"OrderID", "CustomerID"}), 50,
                                  20, 150, 110, &error));
    EXPECT_TRUE(error.isEmpty());
    EXPECT_EQ(diagram->tableAliases(), QStringList{"Orders"});
    EXPECT_EQ(diagram->tableColumns("Orders"), (QStringList{"OrderID", "CustomerID"}));
    EXPECT_EQ(diagram->JoinsList(), "0");

    // Positions and sizes are scaled from the host's units to whole pixels.
    const QRectF r = diagram->tableSceneRect("Orders");
    EXPECT_DOUBLE_EQ(r.left(), std::round(50 * dvTablesAndJoins::kPositionScale));
    EXPECT_DOUBLE_EQ(r.top(), std::round(20 * dvTablesAndJoins::kPositionScale));
    EXPECT_DOUBLE_EQ(r.width(), std::round(150 * dvTablesAndJoins::kSizeScale));
    EXPECT_DOUBLE_EQ(r.height(), std::round(110 * dvTablesAndJoins::kSizeScale));
}

TEST_F(AddTableDefinition, AMalformedDefinitionOrADuplicateAliasAddsNothing) {
    QString error;
    EXPECT_FALSE(diagram->AddTable("Orders\n\n \n1\nOrderID", 50, 20, 150, 110, &error));
    EXPECT_TRUE(error.contains("announces 1 column(s)")) << error.toStdString();
    EXPECT_TRUE(diagram->tableAliases().isEmpty());
    // Without an error pointer the refusal is the same.
    EXPECT_FALSE(diagram->AddTable("", 50, 20, 150, 110));
    EXPECT_TRUE(diagram->tableAliases().isEmpty());
    EXPECT_EQ(diagram->view()->scene()->items().size(), 0);

    // A duplicate alias is refused; the box there is stays as it was.
    ASSERT_TRUE(place("Orders", {"OrderID"}));
    EXPECT_FALSE(
        diagram->AddTable(TableDefinition::build("Orders", {"X"}), 210, 20, 150, 100, &error));
    EXPECT_TRUE(error.contains("\"Orders\" is already in the diagram")) << error.toStdString();
    EXPECT_EQ(diagram->tableColumns("Orders"), QStringList{"OrderID"});
}

TEST_F(AddTableDefinition, ABoxWithoutColumnsStillOffersAllColumns) {
    ASSERT_TRUE(diagram->AddTable("Empty\n\n \n0", 50, 20, 145, 90));
    EXPECT_TRUE(diagram->tableColumns("Empty").isEmpty());
    EXPECT_EQ(diagram->columnPoint("Empty", "x"), QPoint(-1, -1));
    QSignalSpy all(diagram, &dvTablesAndJoins::allColumns);
    doubleClick(diagram->allColumnsPoint("Empty"));
    expectLastSignal(all, 1, {"Empty"});
}

TEST_F(AddTableDefinition, TinySizesAreEnlargedToAUsableBox) {
    ASSERT_TRUE(diagram->AddTable(TableDefinition::build("T", {"a", "b"}), 0, 0, 1, 1));
    const QRectF r = diagram->tableSceneRect("T");
    EXPECT_GE(r.width(), 100);
    EXPECT_GE(r.height(), 60);
    // Its rows are still reachable with the mouse.
    EXPECT_EQ(columnChosenBy(diagram->columnPoint("T", "b")), "b");
}

} // namespace
} // namespace marovin::testing
