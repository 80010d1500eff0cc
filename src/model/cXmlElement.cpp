#include "marovin/cXmlElement.h"

#include "marovin/ModelError.h"

#include <sstream>

namespace marovin {

namespace {
// Element texts are kept exactly as stored: white-space-only texts survive, and CR LF inside a
// text is not normalised.
constexpr unsigned kParseFlags =
    (pugi::parse_default | pugi::parse_ws_pcdata_single) & ~pugi::parse_eol;
} // namespace

std::string cXmlElement::ToText(bool indent) const {
    if (!m_node)
        return {};
    std::ostringstream out;
    out << R"(<?xml version="1.0" encoding="UTF-8"?>)";
    if (indent)
        out << '\n';
    m_node.print(out, "  ", indent ? pugi::format_indent : pugi::format_raw, pugi::encoding_utf8);
    return out.str();
}

cXmlElement cXmlElement::FromText(std::string_view text) {
    auto document = std::make_shared<pugi::xml_document>();
    const pugi::xml_parse_result result =
        document->load_buffer(text.data(), text.size(), kParseFlags, pugi::encoding_auto);
    if (!result) {
        const auto offset = static_cast<size_t>(result.offset);
        size_t line = 1;
        size_t column = 1;
        for (size_t i = 0; i < offset && i < text.size(); ++i) {
            if (text[i] == '\n') {
                ++line;
                column = 1;
            } else {
                ++column;
            }
        }
        throw ModelError("line " + std::to_string(line) + ", column " + std::to_string(column) +
                         ": not well-formed XML (" + result.description() + ")");
    }
    pugi::xml_node root = document->document_element();
    if (!root)
        throw ModelError("the text holds no XML element");
    return cXmlElement(std::move(document), root);
}

} // namespace marovin
