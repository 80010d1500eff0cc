// Renders every query document of tests/corpus and compares the statement (and the clauses that
// have files of their own) byte for byte; then checks that the document written back reads to
// the same statement and the same document.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <marovin/cSQLQuery.h>
#include <sstream>

using namespace marovin;
namespace fs = std::filesystem;

namespace {

fs::path corpusDir() {
    return fs::path(MAROVIN_SOURCE_DIR) / "tests" / "corpus";
}

std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

std::vector<std::string> caseNames() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(corpusDir())) {
        if (entry.path().extension() == ".xml")
            names.push_back(entry.path().stem().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string clause(cSQLQuery& query, const std::string& name) {
    if (name == "select")
        return query.strSelect();
    if (name == "from")
        return query.strFrom();
    if (name == "where")
        return query.strWhere();
    if (name == "groupby")
        return query.strGroupBy();
    if (name == "having")
        return query.strHaving();
    if (name == "orderby")
        return query.strOrderBy();
    ADD_FAILURE() << "unknown clause file " << name;
    return {};
}

class Corpus : public testing::TestWithParam<std::string> {};

} // namespace

TEST(CorpusFiles, ArePresent) {
    ASSERT_TRUE(fs::is_directory(corpusDir())) << corpusDir();
    EXPECT_GE(caseNames().size(), 8u);
}

TEST_P(Corpus, RendersExactlyAndRoundTrips) {
    const fs::path base = corpusDir() / GetParam();
    const fs::path expectedFile = fs::path(base.string() + ".sql");
    ASSERT_TRUE(fs::exists(expectedFile)) << expectedFile;

    cSQLQuery query;
    query.LoadXmlText(readFile(fs::path(base.string() + ".xml")));
    const std::string sql = query.strSQL();
    EXPECT_EQ(sql, readFile(expectedFile));

    for (const auto& entry : fs::directory_iterator(corpusDir())) {
        const std::string file = entry.path().filename().string();
        const std::string prefix = GetParam() + ".";
        if (file.rfind(prefix, 0) != 0 || entry.path().extension() != ".sql" ||
            file == GetParam() + ".sql")
            continue;
        const std::string clauseName = file.substr(prefix.size(), file.size() - prefix.size() - 4);
        if (clauseName == "reread")
            continue;
        EXPECT_EQ(clause(query, clauseName), readFile(entry.path())) << file;
    }

    // The document written back holds default aliases where the source had empty or blank ones,
    // so such a case names the statement it reads back to in <case>.reread.sql.
    const fs::path rereadFile = fs::path(base.string() + ".reread.sql");
    const std::string rereadSql = fs::exists(rereadFile) ? readFile(rereadFile) : sql;
    const std::string document = query.ToXmlText();
    cSQLQuery reread;
    reread.LoadXmlText(document);
    EXPECT_EQ(reread.strSQL(), rereadSql);
    const std::string secondDocument = reread.ToXmlText();
    cSQLQuery again;
    again.LoadXmlText(secondDocument);
    EXPECT_EQ(again.strSQL(), rereadSql);
    EXPECT_EQ(again.ToXmlText(), secondDocument);
    if (!fs::exists(rereadFile)) {
        EXPECT_EQ(secondDocument, document);
    }
}

INSTANTIATE_TEST_SUITE_P(Documents, Corpus, testing::ValuesIn(caseNames()),
                         [](const testing::TestParamInfo<std::string>& info) {
                             std::string name = info.param;
                             for (char& c : name) {
                                 if (!std::isalnum(static_cast<unsigned char>(c)))
                                     c = '_';
                             }
                             return name;
                         });
