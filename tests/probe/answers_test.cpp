// The file of the probe's answers.
#include "probe/Answers.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <iterator>

#include "tests/TemporaryFolder.h"

namespace {

class Answers : public testing::Test {
 protected:
  std::string read() const {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  TemporaryFolder folder;
  std::string path = folder.path() + "/answers.jsonl";
  probe::Answers answers;
};

}  // namespace

TEST_F(Answers, HaveLeftAProcessThatEnds) {
  const pid_t child = fork();
  if (child == 0) {
    probe::Answers lost;
    lost.open(path);
    lost.write("first", "One?", true);
    lost.write("second", "Two?", 2);
    raise(SIGKILL);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(read(), R"({"id": "first", "question": "One?", "answer": true}
{"id": "second", "question": "Two?", "answer": 2}
)");
}

TEST_F(Answers, AreAsciiWhateverTheHostSays) {
  ASSERT_TRUE(answers.open(path));
  answers.write("id", "Which?", "\"\\\n\x7fč\xff");
  EXPECT_EQ(read(),
            "{\"id\": \"id\", \"question\": \"Which?\", "
            "\"answer\": \"\\\"\\\\\\u000a\\u007f\\u00c4\\u008d\\u00ff\"}\n");
}

TEST_F(Answers, AreGivenOnceAndBeginAnewWithTheFile) {
  ASSERT_TRUE(answers.open(path));
  answers.write("status", "Which?", false);
  const std::string written = read();
  answers.write("status", "Which?", true);
  EXPECT_EQ(read(), written);
  answers.write("stat", "Which?", true);
  EXPECT_NE(read(), written);
  ASSERT_TRUE(answers.open(path));
  EXPECT_EQ(read(), "");
  answers.write("status", "Which?", false);
  EXPECT_EQ(read(), written);
}

TEST_F(Answers, AreRefusedWithoutAPlace) {
  EXPECT_FALSE(answers.open(folder.path() + "/missing/answers.jsonl"));
  answers.write("id", "Which?", true);
  answers.close();
}
