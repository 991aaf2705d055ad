#include <QvPlatform/core/QvArray.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

namespace {

using Qv::QvArray;
using Texts = QvArray<std::string>;

TEST(QvArray, tellsAListFromACount) {
    EXPECT_EQ((QvArray<int>{3, 1}.size()), 2U);
    EXPECT_EQ(QvArray<int>(3, 1), (QvArray<int>{1, 1, 1}));
    EXPECT_EQ((Texts{"a", "b"}), (Texts{"a", std::string("b")}));  // not a pair of iterators
}

TEST(QvArray, keepsOrderWhileItChangesInTheMiddle) {
    Texts texts{"a", "d"};
    texts.insert(texts.begin() + 1, {"b", "c"});
    texts.push_back(texts.front());  // an element of its own, while it may move
    EXPECT_EQ(texts, (Texts{"a", "b", "c", "d", "a"}));
    const auto next = texts.erase(texts.begin() + 1, texts.begin() + 3);
    EXPECT_EQ(*next, "d");
    EXPECT_EQ(texts, (Texts{"a", "d", "a"}));
}

TEST(QvArray, movesItsElementsAndCopiesThemApart) {
    QvArray<std::unique_ptr<int>> owners;
    owners.push_back(std::make_unique<int>(1));
    const int* const first = owners.front().get();
    QvArray<std::unique_ptr<int>> moved(std::move(owners));
    owners = std::move(moved);
    EXPECT_EQ(owners.front().get(), first);

    const Texts original{"a"};
    Texts copy = original;
    copy[0] = "changed";
    EXPECT_EQ(original.at(0), "a");
}

}  // namespace
