#include <gtest/gtest.h>
#include <marovin/ModelError.h>
#include <marovin/cSQLQuery.h>

using namespace marovin;

namespace {

std::shared_ptr<cSQLQuery> sampleQuery() {
    auto query = std::make_shared<cSQLQuery>();
    query->setStrName("Q1");
    auto orders = query->Tables()->Add("Orders");
    orders->setStrName("dbo.Orders");
    auto customers = query->Tables()->Add();
    customers->setStrName("dbo.Customers");
    customers->setStrAlias("C");
    auto join = query->JoinConditions()->Add();
    join->setLeftTable(orders);
    join->setRightTable(customers);
    join->setBlnIncludeAllRowsOfRightTable(true);
    join->setStrCondition("(Orders.CustomerID = C.CustomerID)");
    auto item = query->SelectedItems()->Add();
    item->setStrName("Orders.Freight");
    item->setStrAlias("Total");
    item->setStrAggregationFunction("SUM");
    auto city = query->SelectedItems()->Add();
    city->setStrName("C.City");
    city->setStrAlias("Town");
    auto calc = query->CalculatedItems()->Add();
    calc->setStrName("Twice");
    calc->setStrComputation("SUM(Orders.Freight){newline}* 2");
    auto filter = query->Filters()->Add();
    filter->setStrCondition("Orders.Freight > 0 AND C.Name <> '<&>\"'");
    auto off = query->Filters()->Add();
    off->setStrCondition("  padded  ");
    off->setBlnIsActive(false);
    auto sort = query->OrderByItems()->Add();
    sort->setStrItem("Total");
    sort->setStrSortOrder("DESC");
    return query;
}

} // namespace

TEST(Document, WritesTheElementsInOrder) {
    cSQLQuery query;
    query.setStrName("Q1");
    query.Tables()->Add()->setStrName("dbo.Orders");
    auto item = query.SelectedItems()->Add();
    item->setStrName("Orders.Freight");
    item->setStrAlias("Total");
    item->setStrAggregationFunction("SUM");
    query.Filters()->Add()->setStrCondition("Orders.Freight > 0");
    auto sort = query.OrderByItems()->Add();
    sort->setStrItem("Total");
    sort->setStrSortOrder("DESC");
    EXPECT_EQ(
        query.ToXmlText(),
        R"(<?xml version="1.0" encoding="UTF-8"?><SQLQuery issubquery="False"><NAME>Q1</NAME>)"
        R"(<UNIQUE_RECORDS_ONLY>False</UNIQUE_RECORDS_ONLY><TABLES_USED>)"
        R"(<TABLE issubquery="False"><NAME>dbo.Orders</NAME><ALIAS>Orders</ALIAS></TABLE>)"
        R"(</TABLES_USED><ITEMS_SELECTED><ITEM><NAME>Orders.Freight</NAME><ALIAS>Total</ALIAS>)"
        R"(<AGGREGATION>SUM</AGGREGATION></ITEM></ITEMS_SELECTED><CALCULATED_ITEMS/><JOINS/>)"
        R"(<FIXED_FILTERS><FILTER isactive="True">Orders.Freight &gt; 0</FILTER></FIXED_FILTERS>)"
        R"(<ORDER_BY><ITEM sortorder="DESC">Total</ITEM></ORDER_BY></SQLQuery>)");
}

TEST(Document, RoundTripGivesTheSameStatementAndDocument) {
    auto query = sampleQuery();
    const std::string sql = query->strSQL();
    const std::string text = query->ToXmlText();

    cSQLQuery copy;
    copy.setXmlQuery(query->xmlQuery());
    EXPECT_EQ(copy.strSQL(), sql);
    EXPECT_EQ(copy.ToXmlText(), text);

    cSQLQuery fromText;
    fromText.LoadXmlText(query->ToXmlText(true));
    EXPECT_EQ(fromText.strSQL(), sql) << "indentation does not change the texts";
    EXPECT_EQ(fromText.ToXmlText(), text);
    EXPECT_EQ(fromText.Filters()->Item(2)->strCondition(), "  padded  ");
    EXPECT_FALSE(fromText.Filters()->Item(2)->blnIsActive());
}

TEST(Document, WhiteSpaceTextsSurvive) {
    cSQLQuery query;
    auto item = query.SelectedItems()->Add();
    item->setStrName("O.x");
    item->setStrAggregationFunction(" ");
    auto calc = query.CalculatedItems()->Add();
    calc->setStrName("   ");
    calc->setStrComputation("a\r\nb");
    for (bool indent : {false, true}) {
        cSQLQuery copy;
        copy.LoadXmlText(query.ToXmlText(indent));
        EXPECT_EQ(copy.SelectedItems()->Item(1)->strAggregationFunction(), " ");
        EXPECT_EQ(copy.CalculatedItems()->Item(1)->strName(), "   ");
        EXPECT_EQ(copy.CalculatedItems()->Item(1)->strComputation(), "a\r\nb");
    }
}

TEST(Document, Utf16DocumentsWithAByteOrderMarkAreRead) {
    const std::u16string text =
        u"\uFEFF<?xml version=\"1.0\" encoding=\"UTF-16\"?><SQLQuery><NAME>Größe</NAME>"
        u"<ITEMS_SELECTED><ITEM><NAME>Ä.Öl</NAME></ITEM></ITEMS_SELECTED></SQLQuery>";
    std::string bytes;
    for (char16_t c : text) {
        bytes += static_cast<char>(c & 0xFF);
        bytes += static_cast<char>(c >> 8);
    }
    cSQLQuery query;
    query.LoadXmlText(bytes);
    EXPECT_EQ(query.strName(), "Größe");
    EXPECT_EQ(query.strSelect(), "SELECT\r\n     Ä.Öl");
    EXPECT_NE(query.ToXmlText().find("<NAME>Größe</NAME>"), std::string::npos)
        << "documents are written as UTF-8";
}

TEST(Document, ElementOutlivesItsQuery) {
    cXmlElement element;
    {
        auto query = sampleQuery();
        element = query->xmlQuery();
    }
    ASSERT_TRUE(element);
    EXPECT_STREQ(element.node().name(), "SQLQuery");
    cSQLQuery copy;
    copy.setXmlQuery(element);
    EXPECT_EQ(copy.strName(), "Q1");
}

TEST(Document, MissingElementsLoadWithDefaults) {
    cSQLQuery query;
    query.LoadXmlText("<SQLQuery><TABLES_USED><TABLE/></TABLES_USED>"
                      "<FIXED_FILTERS><FILTER>x = 1</FILTER></FIXED_FILTERS>"
                      "<ORDER_BY><ITEM>x</ITEM></ORDER_BY></SQLQuery>");
    EXPECT_EQ(query.strName(), "");
    EXPECT_FALSE(query.blnUniqueRecordsOnly());
    ASSERT_EQ(query.Tables()->Count(), 1);
    EXPECT_FALSE(query.Tables()->Item(1)->blnIsSubQuery());
    EXPECT_TRUE(query.Filters()->Item(1)->blnIsActive()) << "a filter without isactive is active";
    EXPECT_EQ(query.OrderByItems()->Item(1)->strSortOrder(), "");
    EXPECT_EQ(query.SelectedItems()->Count(), 0);
}

TEST(Document, UnknownJoinAliasLoadsWithoutTableAndFailsToRender) {
    cSQLQuery query;
    query.LoadXmlText("<SQLQuery><TABLES_USED><TABLE><NAME>A</NAME></TABLE><TABLE><NAME>B</NAME>"
                      "</TABLE></TABLES_USED><ITEMS_SELECTED><ITEM><NAME>A.x</NAME></ITEM>"
                      "</ITEMS_SELECTED><JOINS><JOIN><LEFT_TABLE>Nope</LEFT_TABLE>"
                      "<RIGHT_TABLE allrows=\"TRUE\">B</RIGHT_TABLE></JOIN></JOINS></SQLQuery>");
    auto join = query.JoinConditions()->Item(1);
    EXPECT_EQ(join->LeftTable(), nullptr);
    EXPECT_EQ(join->RightTable(), query.Tables()->Item(2));
    EXPECT_TRUE(join->blnIncludeAllRowsOfRightTable());
    EXPECT_THROW(query.strSQL(), ModelError);
}

TEST(Document, BadBooleanStopsWithAClearError) {
    cSQLQuery query;
    try {
        query.LoadXmlText("<SQLQuery><NAME>N</NAME><FIXED_FILTERS><FILTER isactive=\"maybe\">x"
                          "</FILTER></FIXED_FILTERS></SQLQuery>");
        FAIL() << "no error";
    } catch (const ModelError& e) {
        EXPECT_NE(std::string(e.what()).find("maybe"), std::string::npos) << e.what();
        EXPECT_NE(std::string(e.what()).find("isactive"), std::string::npos) << e.what();
    }
    EXPECT_EQ(query.strName(), "N") << "what was read before the error stays";
    EXPECT_THROW(
        query.LoadXmlText("<SQLQuery><UNIQUE_RECORDS_ONLY>ja</UNIQUE_RECORDS_ONLY></SQLQuery>"),
        ModelError);
}

TEST(Document, MalformedTextLeavesTheQueryUntouched) {
    auto query = sampleQuery();
    const std::string before = query->ToXmlText();
    try {
        query->LoadXmlText("<SQLQuery>\n  <NAME>x</NAM>\n</SQLQuery>");
        FAIL() << "no error";
    } catch (const ModelError& e) {
        EXPECT_NE(std::string(e.what()).find("line 2"), std::string::npos) << e.what();
    }
    EXPECT_THROW(query->LoadXmlText(""), ModelError);
    EXPECT_THROW(query->LoadXmlText("just text"), ModelError);
    EXPECT_THROW(query->LoadXmlText("<Other/>"), ModelError);
    EXPECT_EQ(query->ToXmlText(), before);
}

TEST(Document, ElementWithoutQueryChildrenGivesAnEmptyQuery) {
    auto query = sampleQuery();
    query->setXmlQuery(cXmlElement::FromText("<Whatever><x/></Whatever>"));
    EXPECT_EQ(query->Tables()->Count(), 0);
    EXPECT_EQ(query->strSQL(), "");
}

TEST(Document, SubQueryTravelsInItsOwnElementAndIsMatchedByName) {
    auto sub = std::make_shared<cSQLQuery>();
    sub->setStrName("Recent");
    sub->setBlnIsSubQuery(true);
    sub->SelectedItems()->Add()->setStrName("O.OrderID");
    sub->Tables()->Add()->setStrName("O");

    cSQLQuery query;
    query.setSubQuery(sub);
    auto table = query.Tables()->Add();
    table->setStrName("Recent");
    table->setBlnIsSubQuery(true);
    table->setSubQuery(sub);
    query.SelectedItems()->Add()->setStrName("Recent.OrderID");
    const std::string sql = query.strSQL();
    const std::string text = query.ToXmlText();
    EXPECT_NE(text.find("<SUB_QUERY><SQLQuery issubquery=\"True\"><NAME>Recent</NAME>"),
              std::string::npos);

    cSQLQuery copy;
    copy.LoadXmlText(text);
    ASSERT_NE(copy.SubQuery(), nullptr);
    EXPECT_EQ(copy.Tables()->Item(1)->SubQuery(), copy.SubQuery());
    EXPECT_EQ(copy.strSQL(), sql);
    EXPECT_EQ(copy.ToXmlText(), text);
}

TEST(Document, SubQueryIsIgnoredInADocumentMarkedAsSubQuery) {
    cSQLQuery query;
    query.LoadXmlText("<SQLQuery issubquery=\"True\"><NAME>Inner</NAME><SUB_QUERY><SQLQuery>"
                      "<NAME>Deeper</NAME></SQLQuery></SUB_QUERY></SQLQuery>");
    EXPECT_EQ(query.SubQuery(), nullptr);
    EXPECT_EQ(query.ToXmlText().find("SUB_QUERY"), std::string::npos);
}

TEST(Document, LoadingKeepsAnExistingSubQueryObject) {
    cSQLQuery query;
    auto sub = std::make_shared<cSQLQuery>();
    query.setSubQuery(sub);
    query.LoadXmlText(
        "<SQLQuery><SUB_QUERY><SQLQuery><NAME>S</NAME></SQLQuery></SUB_QUERY></SQLQuery>");
    EXPECT_EQ(query.SubQuery(), sub);
    EXPECT_EQ(sub->strName(), "S");
}

TEST(Document, HostileNestingAndSelfReferenceAreRefused) {
    std::string deep;
    for (int i = 0; i < 200; ++i)
        deep += "<SQLQuery><SUB_QUERY>";
    for (int i = 0; i < 200; ++i)
        deep += "</SUB_QUERY></SQLQuery>";
    cSQLQuery query;
    EXPECT_THROW(query.LoadXmlText(deep), ModelError);

    auto self = std::make_shared<cSQLQuery>();
    self->setSubQuery(self);
    EXPECT_THROW(self->xmlQuery(), ModelError);
    self->setSubQuery(nullptr);
}
