#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <latch>
#include <map>
#include <marovin/ModelError.h>
#include <marovin/ModelMessages.h>
#include <marovin/cSQLQuery.h>
#include <thread>
#include <vector>

using namespace marovin;

namespace {

struct RecordingSink : iModelMessageSink {
    std::vector<std::string> shown;
    void ShowCritical(const std::string& text) override { shown.push_back(text); }
};

template <class C> std::vector<std::string> names(const C& c) {
    std::vector<std::string> out;
    for (const auto& item : c)
        out.push_back(item->strName());
    return out;
}

} // namespace

TEST(KeyedCollection, PositionsCountFromOneInInsertionOrder) {
    cTables tables;
    tables.Add("")->setStrName("A");
    tables.Add("b")->setStrName("B");
    tables.Add()->setStrName("C");
    ASSERT_EQ(tables.Count(), 3);
    EXPECT_EQ(tables.Item(1)->strName(), "A");
    EXPECT_EQ(tables.Item(3)->strName(), "C");
    EXPECT_EQ(tables.Item("b")->strName(), "B");
    EXPECT_THROW(tables.Item(0), ModelError);
    EXPECT_THROW(tables.Item(4), ModelError);
    EXPECT_THROW(tables.Item("missing"), ModelError);
}

TEST(KeyedCollection, KeysIgnoreLetterCaseIncludingNonAsciiLetters) {
    cSelectedItems items;
    items.Add("Orders.Freight")->setStrName("first");
    EXPECT_EQ(items.Item("ORDERS.freight")->strName(), "first");
    EXPECT_THROW(items.Add("orders.FREIGHT"), ModelError);
    EXPECT_EQ(items.Count(), 1) << "a refused duplicate adds nothing";

    items.Add("Straße Ärger")->setStrName("umlaut");
    EXPECT_EQ(items.Item("STRAßE äRGER")->strName(), "umlaut");
    items.Add("Ελλάδα")->setStrName("greek");
    EXPECT_EQ(items.Item("ΕΛΛΆΔΑ")->strName(), "greek");
    items.Add("Москва")->setStrName("cyrillic");
    EXPECT_EQ(items.Item("МОСКВА")->strName(), "cyrillic");
}

TEST(KeyedCollection, EmptyKeysAreNoKeysButBlankKeysAre) {
    cFilters filters;
    filters.Add("");
    filters.Add("");
    EXPECT_EQ(filters.Count(), 2);
    filters.Add(" ");
    EXPECT_THROW(filters.Add(" "), ModelError);
    EXPECT_EQ(filters.Count(), 3);
}

TEST(KeyedCollection, RemoveShiftsLaterEntriesAndFreesTheKey) {
    cCalculatedItems items;
    items.Add("a")->setStrName("A");
    items.Add("b")->setStrName("B");
    items.Add("c")->setStrName("C");
    items.Remove(1);
    EXPECT_EQ(items.Item(1)->strName(), "B");
    items.Remove("C");
    EXPECT_EQ(names(items), std::vector<std::string>{"B"});
    EXPECT_THROW(items.Remove(5), ModelError);
    EXPECT_THROW(items.Remove("a"), ModelError);
    items.Add("a")->setStrName("again");
    EXPECT_EQ(items.Item("A")->strName(), "again");
}

TEST(KeyedCollection, RemoveIfKeepsOrderAndKeysOfTheRest) {
    cCalculatedItems items;
    items.Add("a")->setStrName("A");
    items.Add()->setStrName("B");
    items.Add("c")->setStrName("C");
    items.Add("d")->setStrName("D");
    items.RemoveIf([](const std::shared_ptr<cCalculatedItem>& item) {
        return item->strName() == "A" || item->strName() == "C";
    });
    EXPECT_EQ(names(items), (std::vector<std::string>{"B", "D"}));
    EXPECT_EQ(items.KeyAt(1), "");
    EXPECT_EQ(items.KeyAt(2), "d");
    EXPECT_EQ(items.Item("D")->strName(), "D");
    EXPECT_FALSE(items.HasKey("a"));
    EXPECT_FALSE(items.HasKey("c"));
    items.Add("C")->setStrName("again");
    EXPECT_EQ(items.Item(3)->strName(), "again");
}

TEST(KeyedCollection, EnumerationAndClear) {
    cJoinConditions joins;
    auto first = joins.Add();
    auto second = joins.Add("k");
    auto snapshot = joins.NewEnum();
    ASSERT_EQ(snapshot.size(), 2u);
    EXPECT_EQ(snapshot[0], first);
    EXPECT_EQ(snapshot[1], second);
    joins.Clear();
    EXPECT_EQ(joins.Count(), 0);
    EXPECT_FALSE(joins.HasKey("k"));
    EXPECT_EQ(snapshot[1]->strCondition(), "") << "items handed out stay alive";
}

TEST(KeyedCollectionMemory, ItemsLieTogetherInTheOrderTheyWereAdded) {
    // Items of two collections added in turn, with other allocations between them: each
    // collection's items still follow one another at one distance, apart from the few places
    // where the collection started a new block of room.
    cSelectedItems items;
    cTables tables;
    std::vector<std::unique_ptr<std::string>> between;
    std::vector<uintptr_t> itemAddresses;
    std::vector<uintptr_t> tableAddresses;
    for (int i = 0; i < 2000; ++i) {
        itemAddresses.push_back(reinterpret_cast<uintptr_t>(items.Add().get()));
        between.push_back(std::make_unique<std::string>(100, 'x'));
        tableAddresses.push_back(reinterpret_cast<uintptr_t>(tables.Add().get()));
    }
    for (const auto* addresses : {&itemAddresses, &tableAddresses}) {
        std::map<intptr_t, int> distances;
        for (size_t i = 1; i < addresses->size(); ++i)
            ++distances[static_cast<intptr_t>((*addresses)[i] - (*addresses)[i - 1])];
        int most = 0;
        for (const auto& [distance, count] : distances)
            most = std::max(most, count);
        EXPECT_GE(most, 1980) << "one distance between neighbours";
        const intptr_t usual =
            std::max_element(distances.begin(), distances.end(), [](auto& a, auto& b) {
                return a.second < b.second;
            })->first;
        EXPECT_GT(usual, 0);
        EXPECT_LE(usual, 160);
    }
}

TEST(KeyedCollectionMemory, ItemsOutliveTheirCollectionAndMayBeFreedOnAnyThread) {
    std::vector<std::shared_ptr<cSelectedItem>> kept;
    {
        auto query = std::make_shared<cSQLQuery>();
        for (int i = 0; i < 500; ++i) {
            auto item = query->SelectedItems()->Add("k" + std::to_string(i));
            item->setStrName("Item " + std::to_string(i) + std::string(40, '.'));
            if (i % 2 == 0)
                kept.push_back(item);
        }
    }
    // The query and its collection are gone; the kept items are whole.
    for (size_t i = 0; i < kept.size(); ++i)
        EXPECT_EQ(kept[i]->strName(), "Item " + std::to_string(2 * i) + std::string(40, '.'));
    // The last of them go on two other threads, the last one of all taking the room with it.
    std::thread first(
        [half = std::vector(kept.begin(), kept.begin() + 125)]() mutable { half.clear(); });
    std::thread second(
        [rest = std::vector(kept.begin() + 125, kept.end())]() mutable { rest.clear(); });
    kept.clear();
    first.join();
    second.join();

    // One thread adds and removes items while three others drop items of the same collection.
    cFilters filters;
    std::vector<std::shared_ptr<cFilter>> shared;
    for (int i = 0; i < 3000; ++i)
        shared.push_back(filters.Add());
    filters.Clear();
    std::latch start(4);
    std::vector<std::thread> droppers;
    for (int t = 0; t < 3; ++t)
        droppers.emplace_back([&shared, &start, t] {
            start.arrive_and_wait();
            for (size_t i = static_cast<size_t>(t); i < shared.size(); i += 3)
                shared[i].reset();
        });
    start.arrive_and_wait();
    for (int i = 0; i < 3000; ++i) {
        filters.Add()->setStrCondition("x > " + std::to_string(i));
        if (i % 2)
            filters.Remove(1);
    }
    for (std::thread& thread : droppers)
        thread.join();
    ASSERT_EQ(filters.Count(), 1500);
    EXPECT_EQ(filters.Item(1)->strCondition(), "x > 1500");
    EXPECT_EQ(filters.Item(1500)->strCondition(), "x > 2999");
}

TEST(KeyedCollectionMemory, RoomOfRemovedItemsIsUsedAgain) {
    cJoinConditions joins;
    std::vector<const void*> first;
    for (int i = 0; i < 100; ++i)
        first.push_back(joins.Add().get());
    joins.Clear();
    std::vector<const void*> second;
    for (int i = 0; i < 100; ++i)
        second.push_back(joins.Add().get());
    std::sort(first.begin(), first.end());
    std::sort(second.begin(), second.end());
    EXPECT_EQ(first, second);
}

TEST(OrderByItems, DuplicateKeyShowsTheMessageAndAddsNothing) {
    auto sink = std::make_shared<RecordingSink>();
    SetModelMessageSink(sink);
    cOrderByItems order;
    ASSERT_NE(order.Add("Total"), nullptr);
    EXPECT_EQ(order.Add("TOTAL"), nullptr);
    EXPECT_EQ(order.Count(), 1);
    ASSERT_EQ(sink->shown.size(), 1u);
    EXPECT_EQ(sink->shown[0], "OrderByItems.Add");
    SetModelMessageSink(nullptr);
}

TEST(SQLQuery, CollectionsAreSharedReferences) {
    cSQLQuery query;
    auto tables = query.Tables();
    EXPECT_EQ(query.Tables(), tables) << "reading twice gives the same collection";
    auto own = std::make_shared<cTables>();
    query.setTables(own);
    own->Add()->setStrName("dbo.Orders");
    EXPECT_EQ(query.Tables()->Count(), 1) << "the assigned collection itself is stored";
}

TEST(SQLQuery, ClearReplacesCollectionsAndKeepsNameFlagsAndSubQuery) {
    cSQLQuery query;
    query.setStrName("Q");
    query.setBlnUniqueRecordsOnly(true);
    auto sub = std::make_shared<cSQLQuery>();
    query.setSubQuery(sub);
    auto before = query.Tables();
    auto table = before->Add();
    query.SelectedItems()->Add();
    query.OrderByItems()->Add();
    query.Clear();
    EXPECT_NE(query.Tables(), before);
    EXPECT_EQ(query.Tables()->Count(), 0);
    EXPECT_EQ(query.SelectedItems()->Count(), 0);
    EXPECT_EQ(query.OrderByItems()->Count(), 0);
    EXPECT_EQ(query.strName(), "Q");
    EXPECT_TRUE(query.blnUniqueRecordsOnly());
    EXPECT_EQ(query.SubQuery(), sub);
    EXPECT_EQ(before->Count(), 1) << "the old collection lives on for its holders";
}

TEST(SQLQuery, NewQueryIsEmpty) {
    cSQLQuery query;
    EXPECT_EQ(query.strName(), "");
    EXPECT_FALSE(query.blnUniqueRecordsOnly());
    EXPECT_EQ(query.SubQuery(), nullptr);
    EXPECT_EQ(query.strSQL(), "");
    EXPECT_EQ(query.strSelect(), "");
    EXPECT_EQ(query.strFrom(), "");
    EXPECT_EQ(query.strWhere(), "");
    EXPECT_EQ(query.strGroupBy(), "");
    EXPECT_EQ(query.strHaving(), "");
    EXPECT_EQ(query.strOrderBy(), "");
}
