#pragma once

#include "marovin/MarovinExport.h"

#include <memory>
#include <pugixml.hpp>
#include <string>
#include <string_view>

namespace marovin {

/// An element of a query document. It keeps its whole document alive, so a host may keep the
/// element after the query that produced it is gone.
class MAROVIN_EXPORT cXmlElement {
public:
    cXmlElement() = default;
    cXmlElement(std::shared_ptr<pugi::xml_document> document, pugi::xml_node node)
        : m_document(std::move(document)), m_node(node) {}

    explicit operator bool() const { return static_cast<bool>(m_node); }
    pugi::xml_node node() const { return m_node; }
    const std::shared_ptr<pugi::xml_document>& document() const { return m_document; }

    /// The element and its subtree as UTF-8 text with an XML declaration; raw (no white space
    /// added) unless indent is true.
    std::string ToText(bool indent = false) const;

    /// Parses a document and returns its root element. Throws ModelError naming the line and
    /// column of the first error, or saying that the text holds no element.
    static cXmlElement FromText(std::string_view text);

private:
    std::shared_ptr<pugi::xml_document> m_document;
    pugi::xml_node m_node;
};

} // namespace marovin
