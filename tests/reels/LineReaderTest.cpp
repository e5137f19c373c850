// SPDX-License-Identifier: GPL-3.0-or-later
#include "reels/LineReader.h"

#include <QJsonDocument>
#include <gtest/gtest.h>

#include <vector>

namespace vorn {
namespace {

class LineReaderTest : public testing::Test {
 protected:
  // Each delivered message, written back compactly.
  std::vector<QByteArray> delivered;
  LineReader reader{[this](const QJsonObject& message) {
    delivered.push_back(QJsonDocument(message).toJson(QJsonDocument::Compact));
  }};
};

TEST_F(LineReaderTest, aMessageSplitAcrossReadsIsDeliveredOnceWholeAfterItsLineFeed) {
  reader.feed(QByteArray(R"({"event":"sta)"));
  EXPECT_TRUE(delivered.empty());
  reader.feed(QByteArray(R"(ge","stage":"story"})"));
  EXPECT_TRUE(delivered.empty()) << "no line feed yet";
  reader.feed(QByteArray("\n"));
  ASSERT_EQ(delivered.size(), 1u);
  EXPECT_EQ(delivered[0], QByteArray(R"({"event":"stage","stage":"story"})"));
  EXPECT_EQ(reader.pending(), 0);
}

TEST_F(LineReaderTest, twoMessagesInOneReadAreDeliveredInOrder) {
  reader.feed(QByteArray("{\"n\":1}\n{\"n\":2}\n{\"n\":"));
  ASSERT_EQ(delivered.size(), 2u);
  EXPECT_EQ(delivered[0], QByteArray(R"({"n":1})"));
  EXPECT_EQ(delivered[1], QByteArray(R"({"n":2})"));
  EXPECT_EQ(reader.pending(), 5) << "the started third message waits";
  reader.feed(QByteArray("3}\n"));
  ASSERT_EQ(delivered.size(), 3u);
  EXPECT_EQ(delivered[2], QByteArray(R"({"n":3})"));
}

TEST_F(LineReaderTest, aFinalMessageWithoutLineFeedIsNeverDelivered) {
  reader.feed(QByteArray(R"({"event":"done"})"));
  reader.finish();
  EXPECT_TRUE(delivered.empty());
  EXPECT_EQ(reader.pending(), 0);
  reader.feed(QByteArray("\n"));
  EXPECT_TRUE(delivered.empty()) << "the dropped tail does not come back";
}

TEST_F(LineReaderTest, garbageNonObjectsAndBlankLinesAreSkippedAndReadingGoesOn) {
  reader.feed(QByteArray("not json\n\n[1,2]\n\"text\"\n42\n{\"a\":1} trailing\n{\"ok\":true}\n"));
  ASSERT_EQ(delivered.size(), 1u);
  EXPECT_EQ(delivered[0], QByteArray(R"({"ok":true})"));
}

TEST_F(LineReaderTest, aTrailingCarriageReturnStillGivesTheMessage) {
  reader.feed(QByteArray("{\"event\":\"stage\"}\r\n"));
  ASSERT_EQ(delivered.size(), 1u);
  EXPECT_EQ(delivered[0], QByteArray(R"({"event":"stage"})"));
}

TEST_F(LineReaderTest, byteByByteFeedingGivesTheSameMessages) {
  const QByteArray stream("{\"n\":1}\ngarbage\n{\"s\":\"\xc3\xa9\"}\n");
  for (char byte : stream) reader.feed(&byte, 1);
  ASSERT_EQ(delivered.size(), 2u);
  EXPECT_EQ(delivered[0], QByteArray(R"({"n":1})"));
  EXPECT_EQ(QJsonDocument::fromJson(delivered[1]).object().value("s").toString(),
            QString::fromUtf8("\xc3\xa9"));
}

TEST_F(LineReaderTest, aLineLongerThanTheLimitIsDroppedWithoutBeingHeld) {
  const QByteArray flood(LineReader::longestLine + 1000, 'x');
  reader.feed(QByteArray(R"({"event":"stage","stage":")") + flood);
  EXPECT_LE(reader.pending(), LineReader::longestLine);
  reader.feed(flood);
  EXPECT_LE(reader.pending(), LineReader::longestLine);
  reader.feed(QByteArray("\"}\n{\"n\":1}\n"));
  ASSERT_EQ(delivered.size(), 1u) << "the long line is dropped whole";
  EXPECT_EQ(delivered[0], QByteArray(R"({"n":1})"));
  reader.feed(QByteArray(R"({"long":")") + flood + "\"}\n" + R"({"n":2})" + "\n");
  ASSERT_EQ(delivered.size(), 2u) << "also when it comes in one piece";
  EXPECT_EQ(delivered[1], QByteArray(R"({"n":2})"));
}

}  // namespace
}  // namespace vorn
