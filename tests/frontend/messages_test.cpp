// The message table: its size, the rows every reader relies on letter by letter, and what a
// code outside the table gets.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "frontend/Messages.h"
#include "support/VecFile.h"

namespace {

TEST(Messages, RowsAndNoticesAsWritten) {
    std::vector<VecCase> all = readVecFile(testData("frontend/messages.vec"));
    for (const VecCase& c : casesOfKind(all, "row")) {
        EXPECT_STREQ(Messages::getText(std::stoul(c.get("code"))), c.fields.at("text").c_str())
            << c.where();
    }
    for (const VecCase& c : casesOfKind(all, "notice")) {
        const char* text = Messages::getNotice(std::stoul(c.get("code")));
        ASSERT_NE(text, nullptr) << c.where();
        // The file trims trailing blanks; the table keeps the one of 4709.
        EXPECT_EQ(std::string(text).substr(0, c.fields.at("text").size()), c.fields.at("text"))
            << c.where();
    }
    EXPECT_STREQ(Messages::getNotice(4709), "Fine ricerca CRL: certificato revocato ");
}

TEST(Messages, EveryCodeOfTheRangeHasItsOwnText) {
    std::set<std::string> texts;
    for (unsigned long code = kFirstResultCode; code <= kLastResultCode; ++code) {
        ASSERT_TRUE(Messages::isResultCode(code));
        const char* text = Messages::getText(code);
        ASSERT_NE(text, nullptr);
        EXPECT_GT(strlen(text), 0u) << code;
        texts.insert(text);
    }
    EXPECT_EQ(Messages::kRows, 110u);
    EXPECT_EQ(texts.size(), 110u);
}

TEST(Messages, CodesOutsideTheTableNeverReadOutsideIt) {
    for (unsigned long code : {0ul, 5119ul, 5230ul, 0x14FFul, NoError, 4616ul}) {
        EXPECT_FALSE(Messages::isResultCode(code));
        EXPECT_STREQ(Messages::getText(code), "Errore interno") << code;
    }
    EXPECT_EQ(Messages::getNotice(4613), nullptr);
    EXPECT_EQ(Messages::getNotice(5122), nullptr);
}

}  // namespace
