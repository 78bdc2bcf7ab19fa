// The program's command line and start-up: what it says where, and how it ends.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/crawl_run.h"
#include "tests/support/temp_directory.h"

namespace wk {
namespace {

constexpr const char* USAGE =
    "Usage: _zcrawler [-conf crawler.conf] [-crawler-name name] [-spiders <int>] [-admin-port "
    "<int>] "
    "[-stop-when-empty] [-restore] [-admin-thread-sleep-time <int>] [-no-libxml] \n";

// "{}" in a profile or a text stands for the test's directory, which holds the directories "store"
// and "temp" and the profile as "c.xml".
std::string fill_in(std::string text, const std::string& directory) {
  for (size_t at = text.find("{}"); at != std::string::npos; at = text.find("{}")) {
    text.replace(at, 2, directory);
  }
  return text;
}

std::string wrap_profile(const std::string& elements) {
  return "<crawlers><crawler name=\"a\" nb-spiders=\"0\" admin-port=\"-1\">" + elements +
         "</crawler></crawlers>";
}

const std::string GOOD_STORE = "<store name=\"{}/store\" temp_data_path=\"{}/temp\"/>";
const std::string GOOD_LOG = "<log name=\"{}/log\"/>";

struct start_case {
  const char* name;
  std::string profile;  // of c.xml; empty: there is none
  std::vector<std::string> options;
  int exit_status;
  std::string output;
  std::string errors;  // the whole of it
};

program_result run_case(const start_case& c, const temp_directory& directory) {
  make_directory(directory, "store");
  make_directory(directory, "temp");
  if (!c.profile.empty()) {
    write_test_file(directory.path + "/c.xml", fill_in(c.profile, directory.path));
  }
  program_setup setup;
  setup.arguments = {get_zcrawler_path()};
  for (const std::string& option : c.options) {
    setup.arguments.push_back(fill_in(option, directory.path));
  }
  setup.directory = directory.path;
  return run_program_to_end(setup);
}

void expect_case(const start_case& c) {
  SCOPED_TRACE(c.name);
  const temp_directory directory;
  const program_result result = run_case(c, directory);
  EXPECT_EQ(result.exit_status, c.exit_status);
  EXPECT_EQ(result.output, c.output);
  EXPECT_EQ(result.errors, fill_in(c.errors, directory.path));
}

TEST(command_line, answers_with_usage_text_stream_and_status) {
  const start_case cases[] = {
      {"nothing", "", {}, 1, "", USAGE},
      {"help", "", {"-h"}, 0, USAGE, ""},
      {"help behind valid options", "", {"-conf", "c.xml", "-spiders", "2", "-h"}, 0, USAGE, ""},
      {"unknown", "", {"-what"}, 1, "", std::string("Unrecognized option: '-what'\n") + USAGE},
      {"unknown behind a mode",
       "",
       {"-save", "x"},
       1,
       "",
       std::string("Unrecognized option: 'x'\n") + USAGE},
      {"an option without its argument", "", {"-save", "-spiders"}, 1, "", USAGE},
      {"-load without its argument", "", {"-load"}, 1, "", USAGE},
      {"-content-plugin without its argument", "", {"-save", "-content-plugin"}, 1, "", USAGE},
      {"no mode", "", {"-spiders", "3"}, 1, "", USAGE},
      {"-restore without a path", "", {"-restore"}, 1, "", USAGE},
      {"-conf as the last argument", "", {"-conf"}, 1, "", USAGE},
      {"-conf as the last argument empties the path",
       "",
       {"-conf", "c.xml", "-conf"},
       1,
       "",
       USAGE},
  };
  for (const start_case& c : cases) expect_case(c);
}

TEST(start_up, ends_with_the_loaders_message) {
  const start_case cases[] = {
      {"no such profile file",
       "",
       {"-conf", "none.xml", "-no-libxml"},
       1,
       "",
       "Couldn't load configuration file 'none.xml'\n"
       "Couldn't load crawler config file 'none.xml'"
       "Couldn't load crawler (none.xml #). Aborting\n"},
      {"no profile inside",
       "<crawlers/>",
       {"-conf", "{}/c.xml"},
       1,
       "",
       "Failed to find any suitable crawler\n"
       "Couldn't load crawler config file '{}/c.xml'"
       "Couldn't load crawler ({}/c.xml #). Aborting\n"},
      {"no profile of that name",
       "<crawlers/>",
       {"-conf", "{}/c.xml", "-crawler-name", "b", "-no-libxml"},
       1,
       "",
       "Failed to find crawler profile named 'b'\n"
       "Couldn't load crawler config file '{}/c.xml'"
       "Couldn't load crawler ({}/c.xml #b). Aborting\n"},
      {"no queues",
       wrap_profile(GOOD_STORE + "<frontier nb_queues=\"0\"/>"),
       {"-conf", "{}/c.xml"},
       1,
       "",
       "ERROR: frontier's nb_queues should be > 0.\n\n"},
      {"no temporary directory",
       wrap_profile("<store name=\"{}/store\" temp_data_path=\"{}/no\"/>"),
       {"-conf", "{}/c.xml"},
       1,
       "",
       "ERROR: The temp directory for temporary data  is not valid .\n\n"},
      {"the working directory as temporary directory",
       wrap_profile("<store name=\"{}/store\" temp_data_path=\"{}\"/>"),
       {"-conf", "{}/c.xml"},
       1,
       "",
       "ERROR: The temp directory for temporary data  is not valid .\n\n"},
      {"no store directory",
       wrap_profile("<store name=\"{}/no\" temp_data_path=\"{}/temp\"/>" + GOOD_LOG),
       {"-conf", "{}/c.xml"},
       1,
       "",
       "ERROR: The store directory for flatsite is not a valid directory. \n\n"},
      {"no checkpoint directory",
       wrap_profile(GOOD_STORE + GOOD_LOG + "<checkpoint dir=\"{}/no\" interval=\"1\"/>"),
       {"-conf", "{}/c.xml"},
       1,
       "",
       "ERROR: The directory configured for checkpoint is not valid.\n\n"},
      {"no log",
       wrap_profile(GOOD_STORE),
       {"-conf", "{}/c.xml"},
       0,
       "",
       "No log - creating /dev/null log instead\n"},
      {"a good profile", wrap_profile(GOOD_STORE + GOOD_LOG), {"-conf", "{}/c.xml"}, 0, "", ""},
  };
  for (const start_case& c : cases) expect_case(c);
}

TEST(start_up, says_where_a_profile_is_broken) {
  for (const char* option : {"-stop-when-empty", "-no-libxml"}) {
    const temp_directory directory;
    const start_case broken = {
        "", "<crawlers>\n<crawler>\n</crawlers>", {"-conf", "c.xml", option}, 1, "", ""};
    const program_result result = run_case(broken, directory);
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_NE(result.errors.find("c.xml:3"), std::string::npos) << result.errors;
    EXPECT_NE(result.errors.find("Couldn't load crawler (c.xml #). Aborting\n"), std::string::npos)
        << result.errors;
  }
}

TEST(start_up, writes_profile_arguments_and_success_into_the_log) {
  const temp_directory directory;
  const start_case good = {
      "", wrap_profile(GOOD_STORE + GOOD_LOG), {"-conf", "c.xml", "-spiders", "0"}, 0, "", ""};
  EXPECT_EQ(run_case(good, directory).exit_status, 0);
  const std::string log = read_test_file(directory.path + "/log");
  EXPECT_TRUE(log.starts_with("#Version: 1.0\n#Software: Wendrake Webcrawler\n")) << log;
  EXPECT_NE(log.find("#Fields: date time x-config-file\n"), std::string::npos);
  EXPECT_NE(log.find(get_zcrawler_path() + " -conf c.xml -spiders 0 \n"), std::string::npos);
  EXPECT_EQ(log.find("Crawler main loop started"), std::string::npos) << "no spiders, no crawl";
  EXPECT_TRUE(log.ends_with("Crawling process success!\n\n"));
}

TEST(start_up, empties_store_and_temporary_directory_of_files_only) {
  const temp_directory directory;
  for (const char* name : {"store/old", "temp/old"}) {
    make_directory(directory, std::string(name).substr(0, std::string(name).find('/')) + "/below");
    write_test_file(directory.path + "/" + name, "old");
  }
  write_test_file(directory.path + "/store/below/kept", "kept");
  const start_case good = {"", wrap_profile(GOOD_STORE + GOOD_LOG), {"-conf", "c.xml"}, 0, "", ""};
  EXPECT_EQ(run_case(good, directory).exit_status, 0);
  EXPECT_EQ(read_test_file(directory.path + "/store/old"), "");
  EXPECT_EQ(read_test_file(directory.path + "/temp/old"), "");
  EXPECT_EQ(read_test_file(directory.path + "/store/below/kept"), "kept");
}

}  // namespace
}  // namespace wk
