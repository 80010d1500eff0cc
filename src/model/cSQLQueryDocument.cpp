// The XML document of a query: writing it from the model and filling the model from it.

#include "marovin/ModelError.h"
#include "marovin/Utilities.h"
#include "marovin/cSQLQuery.h"

#include <unordered_map>
#include <unordered_set>

namespace marovin {

namespace {

// Deeper nesting than this is refused rather than risking the stack on hostile documents.
constexpr int kMaxSubQueryDepth = 64;

// Element texts and attribute values are read exactly as stored (no trimming); pugixml is set up
// to keep white-space-only texts.
pugi::xml_node writeChild(pugi::xml_node parent, const char* name, const std::string& text) {
    pugi::xml_node child = parent.append_child(name);
    if (!text.empty())
        child.append_child(pugi::node_pcdata).set_value(text.c_str());
    return child;
}

// The text of an element: all its character data, in document order.
std::string elementText(pugi::xml_node element) {
    std::string text;
    for (pugi::xml_node node = element.first_child(); node;) {
        if (node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata)
            text += node.value();
        if (node.first_child()) {
            node = node.first_child();
            continue;
        }
        while (node && node != element && !node.next_sibling())
            node = node.parent();
        if (!node || node == element)
            break;
        node = node.next_sibling();
    }
    return text;
}

std::string readChild(pugi::xml_node element, const char* name, const std::string& fallback = {}) {
    if (name == nullptr || *name == '\0')
        return elementText(element);
    pugi::xml_node child = element.child(name);
    return child ? elementText(child) : fallback;
}

enum class BlankFlag { UseFallback, IsError };

// A flag attribute: missing gives the fallback; present, its boolean value. A blank value is
// false for the "issubquery" marks and an error for the other flags.
bool readFlagAttribute(pugi::xml_node element, const char* name, bool fallback,
                       BlankFlag blank = BlankFlag::IsError) {
    pugi::xml_attribute attribute = element.attribute(name);
    if (!attribute || (blank == BlankFlag::UseFallback && Trim(attribute.value()).empty()))
        return fallback;
    try {
        return TextToBool(attribute.value());
    } catch (const ModelError& e) {
        throw ModelError(std::string("attribute \"") + name + "\" of <" + element.name() +
                         ">: " + e.what());
    }
}

int& readDepth() {
    thread_local int depth = 0;
    return depth;
}

struct DepthGuard {
    DepthGuard() {
        if (++readDepth() > kMaxSubQueryDepth) {
            --readDepth();
            throw ModelError("sub-queries are nested more than " +
                             std::to_string(kMaxSubQueryDepth) + " levels deep");
        }
    }
    ~DepthGuard() { --readDepth(); }
    DepthGuard(const DepthGuard&) = delete;
    DepthGuard& operator=(const DepthGuard&) = delete;
};

thread_local std::unordered_set<const cSQLQuery*>* t_writing = nullptr;

} // namespace

void cSQLQuery::writeDocument(pugi::xml_node root) const {
    root.append_attribute("issubquery").set_value(BoolToText(m_blnIsSubQuery).c_str());
    writeChild(root, "NAME", m_strName);
    writeChild(root, "UNIQUE_RECORDS_ONLY", BoolToText(m_blnUniqueRecordsOnly));

    pugi::xml_node tables = writeChild(root, "TABLES_USED", {});
    for (const auto& table : *m_Tables) {
        pugi::xml_node element = writeChild(tables, "TABLE", {});
        element.append_attribute("issubquery")
            .set_value(BoolToText(table->blnIsSubQuery()).c_str());
        writeChild(element, "NAME", table->strName());
        writeChild(element, "ALIAS", table->strAlias());
    }

    pugi::xml_node selected = writeChild(root, "ITEMS_SELECTED", {});
    for (const auto& item : *m_SelectedItems) {
        pugi::xml_node element = writeChild(selected, "ITEM", {});
        writeChild(element, "NAME", item->strName());
        writeChild(element, "ALIAS", item->strAlias());
        writeChild(element, "AGGREGATION", item->strAggregationFunction());
    }

    pugi::xml_node calculated = writeChild(root, "CALCULATED_ITEMS", {});
    for (const auto& item : *m_CalculatedItems) {
        pugi::xml_node element = writeChild(calculated, "ITEM", {});
        writeChild(element, "ITEM_NAME", item->strName());
        writeChild(element, "COMPUTATION", item->strComputation());
    }

    pugi::xml_node joins = writeChild(root, "JOINS", {});
    for (const auto& join : *m_JoinConditions) {
        if (!join->LeftTable() || !join->RightTable())
            throw ModelError("A join has no " + std::string(join->LeftTable() ? "right" : "left") +
                             " table");
        pugi::xml_node element = writeChild(joins, "JOIN", {});
        writeChild(element, "LEFT_TABLE", join->LeftTable()->strAlias())
            .append_attribute("allrows")
            .set_value(BoolToText(join->blnIncludeAllRowsOfLeftTable()).c_str());
        writeChild(element, "RIGHT_TABLE", join->RightTable()->strAlias())
            .append_attribute("allrows")
            .set_value(BoolToText(join->blnIncludeAllRowsOfRightTable()).c_str());
        writeChild(element, "CONDITION", join->strCondition());
    }

    pugi::xml_node filters = writeChild(root, "FIXED_FILTERS", {});
    for (const auto& filter : *m_Filters) {
        writeChild(filters, "FILTER", filter->strCondition())
            .append_attribute("isactive")
            .set_value(BoolToText(filter->blnIsActive()).c_str());
    }

    pugi::xml_node order = writeChild(root, "ORDER_BY", {});
    for (const auto& entry : *m_OrderByItems) {
        writeChild(order, "ITEM", entry->strItem())
            .append_attribute("sortorder")
            .set_value(entry->strSortOrder().c_str());
    }

    if (!m_blnIsSubQuery && m_SubQuery) {
        if (!t_writing->insert(m_SubQuery.get()).second)
            throw ModelError("the query \"" + m_SubQuery->strName() +
                             "\" contains itself as its sub-query");
        pugi::xml_node sub = writeChild(root, "SUB_QUERY", {});
        m_SubQuery->writeDocument(sub.append_child("SQLQuery"));
        t_writing->erase(m_SubQuery.get());
    }
}

cXmlElement cSQLQuery::xmlQuery() const {
    auto document = std::make_shared<pugi::xml_document>();
    pugi::xml_node root = document->append_child("SQLQuery");
    std::unordered_set<const cSQLQuery*> writing{this};
    auto* outer = t_writing;
    t_writing = &writing;
    try {
        writeDocument(root);
    } catch (...) {
        t_writing = outer;
        throw;
    }
    t_writing = outer;
    return cXmlElement(std::move(document), root);
}

void cSQLQuery::readDocument(pugi::xml_node root) {
    DepthGuard depth;
    Clear();
    m_blnIsSubQuery = readFlagAttribute(root, "issubquery", false, BlankFlag::UseFallback);
    m_strName = readChild(root, "NAME");
    const std::string unique = readChild(root, "UNIQUE_RECORDS_ONLY");
    try {
        m_blnUniqueRecordsOnly = Trim(unique).empty() ? false : TextToBool(unique);
    } catch (const ModelError& e) {
        throw ModelError(std::string("<UNIQUE_RECORDS_ONLY>: ") + e.what());
    }

    for (pugi::xml_node element : root.child("TABLES_USED").children("TABLE")) {
        auto table = m_Tables->Add();
        table->setStrName(readChild(element, "NAME"));
        table->setStrAlias(readChild(element, "ALIAS"));
        table->setBlnIsSubQuery(
            readFlagAttribute(element, "issubquery", false, BlankFlag::UseFallback));
    }
    for (pugi::xml_node element : root.child("ITEMS_SELECTED").children("ITEM")) {
        auto item = m_SelectedItems->Add();
        item->setStrName(readChild(element, "NAME"));
        item->setStrAlias(readChild(element, "ALIAS"));
        item->setStrAggregationFunction(readChild(element, "AGGREGATION"));
    }
    for (pugi::xml_node element : root.child("CALCULATED_ITEMS").children("ITEM")) {
        auto item = m_CalculatedItems->Add();
        item->setStrName(readChild(element, "ITEM_NAME"));
        item->setStrComputation(readChild(element, "COMPUTATION"));
    }
    // Joins name their tables by alias; the first table with an alias wins, as a walk through
    // the tables in order would find it. One index keeps many joins over many tables linear.
    std::unordered_map<std::string, std::shared_ptr<cTable>> tableByAlias;
    for (const auto& table : *m_Tables)
        tableByAlias.emplace(table->strAlias(), table);
    auto findTable = [&](const std::string& alias) -> std::shared_ptr<cTable> {
        auto it = tableByAlias.find(alias);
        return it == tableByAlias.end() ? nullptr : it->second;
    };
    for (pugi::xml_node element : root.child("JOINS").children("JOIN")) {
        auto join = m_JoinConditions->Add();
        if (pugi::xml_node left = element.child("LEFT_TABLE")) {
            join->setLeftTable(findTable(elementText(left)));
            join->setBlnIncludeAllRowsOfLeftTable(readFlagAttribute(left, "allrows", false));
        }
        if (pugi::xml_node right = element.child("RIGHT_TABLE")) {
            join->setRightTable(findTable(elementText(right)));
            join->setBlnIncludeAllRowsOfRightTable(readFlagAttribute(right, "allrows", false));
        }
        join->setStrCondition(readChild(element, "CONDITION"));
    }
    for (pugi::xml_node element : root.child("FIXED_FILTERS").children("FILTER")) {
        auto filter = m_Filters->Add();
        filter->setStrCondition(elementText(element));
        filter->setBlnIsActive(readFlagAttribute(element, "isactive", true));
    }
    for (pugi::xml_node element : root.child("ORDER_BY").children("ITEM")) {
        auto entry = m_OrderByItems->Add();
        entry->setStrItem(elementText(element));
        entry->setStrSortOrder(element.attribute("sortorder").value());
    }

    pugi::xml_node sub = root.child("SUB_QUERY");
    if (!m_blnIsSubQuery && sub) {
        if (!m_SubQuery)
            m_SubQuery = std::make_shared<cSQLQuery>();
        if (pugi::xml_node nested =
                sub.find_child([](pugi::xml_node n) { return n.type() == pugi::node_element; }))
            m_SubQuery->setXmlQuery(cXmlElement(nullptr, nested));
        for (const auto& table : *m_Tables) {
            if (table->strName() == m_SubQuery->strName())
                table->setSubQuery(m_SubQuery);
        }
    }
}

void cSQLQuery::setXmlQuery(const cXmlElement& element) {
    if (!element) {
        Clear();
        return;
    }
    readDocument(element.node());
}

std::string cSQLQuery::ToXmlText(bool indent) const {
    return xmlQuery().ToText(indent);
}

void cSQLQuery::LoadXmlText(std::string_view text) {
    const cXmlElement element = cXmlElement::FromText(text);
    const std::string rootName = element.node().name();
    if (rootName != "SQLQuery")
        throw ModelError("the root element is <" + rootName + ">, not <SQLQuery>");
    setXmlQuery(element);
}

} // namespace marovin
