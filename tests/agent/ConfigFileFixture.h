#pragma once
// An agent on a manual clock and its configuration file in a fresh
// directory, removed after the test: write() puts a text in the file,
// reload() applies it, startWith() applies it and starts the library. edit() makes a variant of a test's file text.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include "agent/Agent.h"
#include "agent/config/ConfigFile.h"
#include "vix/ManualTimeSource.h"

namespace KorTest {

// Replaces the first `from` of the text by `to`.
inline std::string edit(std::string text, std::string const& from, std::string const& to) {
  auto at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  if (at != std::string::npos) text.replace(at, from.size(), to);
  return text;
}

class ConfigFileFixture : public ::testing::Test {
 protected:
  ConfigFileFixture() : agent_(Vix::makePtr<Vix::ManualTimeSource>(0.0)) {
    char tmpl[] = "/tmp/kor-config-XXXXXX";
    dir_ = ::mkdtemp(tmpl);
    path_ = dir_ + "/switch.json";
    file_ = std::make_unique<KorAgent::ConfigFile>(path_, agent_);
  }
  ~ConfigFileFixture() override { std::filesystem::remove_all(dir_); }

  void write(std::string const& text) const { std::ofstream(path_, std::ios::trunc) << text; }
  KorAgent::ConfigReport reload(std::string const& text) {
    write(text);
    return file_->reload(agent_);
  }
  // `text` is refused whole with "FILE: message".
  void expectRefused(std::string const& text, std::string const& message) {
    write(text);
    try {
      file_->reload(agent_);
      ADD_FAILURE() << "not refused: " << message;
    } catch (std::invalid_argument const& e) {
      EXPECT_EQ(e.what(), path_ + ": " + message);
    }
  }
  // The agent configured with `text`, its library started and settled.
  void startWith(std::string const& text) {
    auto r = reload(text);
    ASSERT_TRUE(r.refusals().empty()) << r.text(path_);
    agent_.init();
    ASSERT_TRUE(agent_.runUntilIdle());
  }

  KorAgent::Agent agent_;
  std::string dir_, path_;
  std::unique_ptr<KorAgent::ConfigFile> file_;
};

}  // namespace KorTest
