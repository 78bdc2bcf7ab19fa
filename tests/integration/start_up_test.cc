// The program's command line and start-up: what it says where, and how it ends.

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/crawl_run.h"
#include "tests/support/scripted_server.h"
#include "tests/support/temp_directory.h"
#include "wkstd/state_stream.h"

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

// A crawl that was saved and checkpointed: "c.xml" is its profile, "image" what -save printed,
// "checkpoint" a horizon that holds "/queued" and no seed.
struct saved_crawl {
  temp_directory directory;
  scripted_server server = start_scripted_server();
  std::string checkpoint_file;
  program_result save;

  saved_crawl() {
    make_directory(directory, "checkpoint");
    checkpoint_file = directory.path + "/checkpoint/nfrontier.0.head.txt";
    write_test_file(checkpoint_file, get_url_scripted_server(server, "/queued") + "\n");
    serve_page_scripted_server(server, "/queued", "<a href=\"/linked\">one</a>");
    serve_page_scripted_server(server, "/linked", "another page");
    save = run({"-conf", "{}/c.xml", "-save"});
    write_test_file(directory.path + "/image", save.output);
  }

  program_result run(const std::vector<std::string>& options) {
    const std::string seed = get_url_scripted_server(server, "/seed");
    const start_case c = {
        "",
        wrap_profile("<seed-urls><url name=\"" + seed + "\"/></seed-urls>" + GOOD_STORE +
                     "<log name=\"{}/log\" append=\"true\"/><robot honor=\"false\"/>"
                     "<frontier nb_queues=\"3\" sleep_interval=\"0\"/>"
                     "<checkpoint dir=\"{}/checkpoint\" interval=\"0\"/>"),
        options,
        0,
        "",
        ""};
    return run_case(c, directory);
  }
  std::string read(const std::string& name) const {
    return read_test_file(directory.path + "/" + name);
  }
};

TEST(save, prints_an_image_and_crawls_nothing) {
  saved_crawl crawl;
  EXPECT_EQ(crawl.save.exit_status, 0);
  EXPECT_EQ(crawl.save.errors, "");
  EXPECT_TRUE(crawl.save.output.starts_with(std::string("\4\0\0\0\1\0\0\0", 8)));
  EXPECT_NE(crawl.save.output.find(crawl.directory.path + "/checkpoint"), std::string::npos);
  EXPECT_EQ(count_all_requests_scripted_server(crawl.server), 0u);
  const std::string log = crawl.read("log");
  EXPECT_TRUE(log.ends_with(" Crawling process success!\n\n")) << log;
  EXPECT_EQ(log.find("Crawler main loop started"), std::string::npos);
  EXPECT_EQ(log.find("x-cmdline-arguments"), std::string::npos);

  write_test_file(crawl.directory.path + "/store/flatsite-1", "of an earlier crawl");
  EXPECT_EQ(crawl.run({"-conf", "{}/c.xml", "-save"}).output, crawl.save.output);
  EXPECT_EQ(crawl.read("store/flatsite-1"), "") << "a save starts fresh";
}

TEST(restore, goes_on_from_the_checkpoint_whichever_way_it_is_asked_for) {
  const std::vector<std::string> ways[] = {
      {"-load", "{}/image"},
      {"-load", "{}/c.xml"},
      {"-load", "{}/c.xml", "-no-libxml"},
      {"-conf", "{}/c.xml", "-restore"},
  };
  for (std::vector<std::string> options : ways) {
    SCOPED_TRACE(testing::PrintToString(options));
    saved_crawl crawl;
    const std::string stored =
        "FLATSITE_START\nDB_DOC_URL=http://h/\nDB_DOC_TYPE=html\nDB_DOC_LEN=1\nx\nFLATSITE_END\n";
    write_test_file(crawl.directory.path + "/store/flatsite-1", stored + "FLATSITE_START\nDB_");
    const std::string checkpoint = read_test_file(crawl.checkpoint_file);
    options.insert(options.end(),
                   {"-spiders", "2", "-stop-when-empty", "-admin-thread-sleep-time", "100"});
    const program_result result = crawl.run(options);
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.errors, "The ndue_mhash.txt can't be open to read!\n");
    EXPECT_EQ(result.output, "stop the crawler because horizon empty and no active threads!\n");
    EXPECT_EQ(count_requests_scripted_server(crawl.server, "/queued"), 1u);
    EXPECT_EQ(count_requests_scripted_server(crawl.server, "/linked"), 1u);
    EXPECT_EQ(count_requests_scripted_server(crawl.server, "/seed"), 0u);
    std::vector<crawl_document> documents;
    read_flatsite_documents(crawl.read("store/flatsite-1"), documents);
    ASSERT_EQ(documents.size(), 3u);
    EXPECT_EQ(documents[0].content, "x");
    EXPECT_EQ(documents[2].content, "another page");
    EXPECT_EQ(read_test_file(crawl.checkpoint_file), checkpoint);
    EXPECT_NE(crawl.read("log").find("Crawling process success!"), std::string::npos);
  }
}

TEST(load, refuses_a_damaged_image_and_touches_nothing) {
  saved_crawl crawl;
  const std::string& image = crawl.save.output;
  std::string other_store = image;
  other_store[image.find("/store")] = '-';
  const std::tuple<const char*, std::string> cases[] = {
      {"the mark alone", image.substr(0, 4)},
      {"half of it", image.substr(0, image.size() / 2)},
      {"one byte short", image.substr(0, image.size() - 1)},
      {"one byte long", image + "x"},
      {"another store", other_store},
  };
  for (const auto& [name, bytes] : cases) {
    SCOPED_TRACE(name);
    write_test_file(crawl.directory.path + "/image", bytes);
    write_test_file(crawl.directory.path + "/temp/file", "kept");
    write_test_file(crawl.directory.path + "/store/file", "kept");
    const program_result result = crawl.run({"-load", "{}/image", "-spiders", "1"});
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, fill_in("The crawler image '{}/image' is damaged.\n"
                                     "Couldn't load crawler ({}/image #). Aborting\n",
                                     crawl.directory.path));
    EXPECT_EQ(crawl.read("temp/file"), "kept");
    EXPECT_EQ(crawl.read("store/file"), "kept");
  }
  EXPECT_EQ(count_all_requests_scripted_server(crawl.server), 0u);
}

TEST(load, says_that_there_is_nothing_to_load) {
  expect_case({"no such file",
               "",
               {"-load", "{}/none", "-no-libxml"},
               1,
               "",
               "Couldn't load configuration file '{}/none'\n"
               "Couldn't load crawler config file '{}/none'"
               "Couldn't load crawler ({}/none #). Aborting\n"});
}

// RFC 1950, section 9.
void append_adler32(std::string& bytes) {
  uint32_t a = 1;
  uint32_t b = 0;
  for (const char c : bytes) {
    a = (a + static_cast<unsigned char>(c)) % 65'521;
    b = (b + a) % 65'521;
  }
  append_u32(bytes, b << 16 | a);
}

TEST(parse_repository, is_created_and_read_back) {
  const temp_directory directory;
  const start_case create = {"", "", {"-create-parse-repository"}, 0, "", ""};
  const program_result built_in = run_case(create, directory);
  EXPECT_EQ(built_in.exit_status, 0);
  EXPECT_EQ(built_in.errors, "");
  ASSERT_TRUE(built_in.output.starts_with(std::string("WKPR\1\0\0\0", 8)));

  std::string other = built_in.output.substr(0, built_in.output.size() - 4);
  other[other.find("cookie-date-1")] = 'k';
  append_adler32(other);
  // What can't be used leaves the built-in one.
  std::string damaged = built_in.output;
  damaged.back() = static_cast<char>(damaged.back() ^ 1);
  struct repository_case {
    const char* name;
    std::string bytes;  // empty: there is no file
    std::string errors;
    std::string output;  // the repository in force
  };
  const repository_case cases[] = {
      {"its own", built_in.output, "", built_in.output},
      {"another", other, "", other},
      {"a damaged one", damaged, "{}/r: incorrect file type (1380993879)\n", built_in.output},
      {"another file", "<?xml version", "{}/r: incorrect file type (1836597052)\n",
       built_in.output},
      {"three bytes", "WKP", "{}/r: incorrect file type (0)\n", built_in.output},
      {"no file", "", "{}/r: cannot open file\n", built_in.output},
  };
  for (const repository_case& c : cases) {
    SCOPED_TRACE(c.name);
    const temp_directory place;
    if (!c.bytes.empty()) write_test_file(place.path + "/r", c.bytes);
    const program_result result = run_case(
        {"", "", {"-parse-repository", "{}/r", "-create-parse-repository"}, 0, "", ""}, place);
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.output, c.output);
    EXPECT_EQ(result.errors, fill_in(c.errors, place.path));
  }
}

}  // namespace
}  // namespace wk
