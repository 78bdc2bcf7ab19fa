// The program's command line and start-up: what it says where, and how it ends.

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "tests/support/checkpoint_files.h"
#include "tests/support/child_process.h"
#include "tests/support/crawl_run.h"
#include "tests/support/scripted_server.h"
#include "tests/support/temp_directory.h"

namespace wk {
namespace {

const std::string USAGE =
    "Usage: _zcrawler [-conf crawler.conf] [-crawler-name name] [-spiders <int>] [-admin-port "
    "<int>] "
    "[-stop-when-empty] [-restore] [-admin-thread-sleep-time <int>] [-no-libxml] \n";

// A directory for a start of the program, which holds "c.xml" and the directories "store" and
// "temp". "{}" in a text stands for its path.
struct start_place {
  temp_directory directory;
  std::string base = directory.path;
  std::string store = make_directory(directory, "store");
  std::string temp = make_directory(directory, "temp");

  std::string fill_in(std::string text) const {
    for (size_t at = text.find("{}"); at != std::string::npos; at = text.find("{}")) {
      text.replace(at, 2, base);
    }
    return text;
  }
  // Runs the program with blank-separated options.
  program_result run(const std::string& options) const {
    program_setup setup{.arguments = {get_zcrawler_path()}, .directory = base};
    std::istringstream words(fill_in(options));
    for (std::string word; words >> word;) setup.arguments.push_back(word);
    return run_program_to_end(setup);
  }
  std::string read(const std::string& name) const { return read_test_file(base + "/" + name); }
  void write_profile(const std::string& elements) const {
    write_test_file(base + "/c.xml",
                    fill_in("<crawlers><crawler name=\"a\" nb-spiders=\"0\" admin-port=\"-1\">" +
                            elements + "</crawler></crawlers>"));
  }
};

const std::string STORE = "<store name=\"{}/store\" temp_data_path=\"{}/temp\"/>";
const std::string LOG = "<log name=\"{}/log\" append=\"true\"/>";

TEST(command_line, answers_with_usage_text_stream_and_status) {
  const std::tuple<const char*, int, std::string, std::string> cases[] = {
      {"", 1, "", USAGE},
      {"-h", 0, USAGE, ""},
      {"-conf c.xml -spiders 2 -h", 0, USAGE, ""},
      {"-what", 1, "", "Unrecognized option: '-what'\n" + USAGE},
      {"-save x", 1, "", "Unrecognized option: 'x'\n" + USAGE},
      {"-save -spiders", 1, "", USAGE},
      {"-load", 1, "", USAGE},
      {"-save -content-plugin", 1, "", USAGE},
      {"-spiders 3", 1, "", USAGE},
      {"-restore", 1, "", USAGE},
      {"-conf", 1, "", USAGE},
      {"-conf c.xml -conf", 1, "", USAGE},  // the second one empties the path
  };
  const start_place place;
  for (const auto& [options, exit_status, output, errors] : cases) {
    SCOPED_TRACE(options);
    const program_result result = place.run(options);
    EXPECT_EQ(result.exit_status, exit_status);
    EXPECT_EQ(result.output, output);
    EXPECT_EQ(result.errors, errors);
  }
}

TEST(start_up, ends_with_the_loaders_message) {
  const std::string no_temp = "ERROR: The temp directory for temporary data  is not valid .\n\n";
  const std::string no_file =
      "Couldn't load configuration file '{}/none'\nCouldn't load crawler config file '{}/none'"
      "Couldn't load crawler ({}/none #). Aborting\n";
  const std::string doubt = "{}/c.xml:1: attribute ";
  const std::tuple<std::string, const char*, int, std::string> cases[] = {
      // elements of the profile (none: there is no profile), options, exit status, all of standard
      // error
      {"", "-conf {}/none -no-libxml", 1, no_file},
      {"", "-load {}/none -no-libxml", 1, no_file},
      {"", "-conf {}/c.xml -crawler-name b", 1,
       "Failed to find crawler profile named 'b'\nCouldn't load crawler config file '{}/c.xml'"
       "Couldn't load crawler ({}/c.xml #b). Aborting\n"},
      {STORE + "<frontier nb_queues=\"0\"/>", "-conf {}/c.xml", 1,
       "ERROR: frontier's nb_queues should be > 0.\n\n"},
      {"<store name=\"{}/store\" temp_data_path=\"{}/no\"/>", "-conf {}/c.xml", 1,
       doubt + "\"temp_data_path\" of \"store\": \"{}/no\" is no directory\n" + no_temp},
      {"<store name=\"{}/store\" temp_data_path=\"{}\"/>", "-conf {}/c.xml", 1,
       doubt + "\"temp_data_path\" of \"store\": \"{}\" is a directory that no crawl may empty\n" +
           no_temp},
      {"<store name=\"{}/no\" temp_data_path=\"{}/temp\"/>" + LOG, "-conf {}/c.xml", 1,
       doubt + "\"name\" of \"store\": \"{}/no\" is no directory\n"
               "ERROR: The store directory for flatsite is not a valid directory. \n\n"},
      {STORE + LOG + "<checkpoint dir=\"{}/no\" interval=\"1\"/>", "-conf {}/c.xml", 1,
       doubt + "\"dir\" of \"checkpoint\": \"{}/no\" is no directory\n"
               "ERROR: The directory configured for checkpoint is not valid.\n\n"},
      {STORE, "-conf {}/c.xml", 0, "No log - creating /dev/null log instead\n"},
      {STORE + LOG, "-conf {}/c.xml", 0, ""},
      {STORE + LOG + "<robots honor=\"0\"/>", "-conf {}/c.xml -no-libxml", 0,
       "{}/c.xml:1: element \"robots\" of \"crawler\" is not known; did you mean \"robot\"?\n"},
  };
  for (const auto& [elements, options, exit_status, errors] : cases) {
    SCOPED_TRACE(elements + options);
    const start_place place;
    if (elements.empty()) {
      write_test_file(place.base + "/c.xml", "<crawlers/>");
    } else {
      place.write_profile(elements);
    }
    const program_result result = place.run(options);
    EXPECT_EQ(result.exit_status, exit_status);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, place.fill_in(errors));
  }
  const start_place place;
  write_test_file(place.base + "/c.xml", "<crawlers>\n<crawler>\n</crawlers>");
  for (const char* options : {"-conf c.xml", "-conf c.xml -no-libxml"}) {
    const program_result result = place.run(options);
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_NE(result.errors.find("c.xml:3"), std::string::npos) << result.errors;
    EXPECT_TRUE(result.errors.ends_with("Couldn't load crawler (c.xml #). Aborting\n"));
  }
}

TEST(start_up, ends_where_a_filter_would_not_hold) {
  const std::string bad = "<restricted-urls>\n<url name=\"(\"/></restricted-urls>";
  const std::string bad_errors =
      "c.xml:1: element \"restricted-urls\" restricts nothing: none of its entries is valid\n"
      "c.xml:2: attribute \"name\" of \"url\": \"(\" is no regular expression and is left out: "
      "missing )\n";
  std::string large;  // a program of 54,000 steps
  for (int i = 0; i < 18; ++i) large += "([^a]b){1000}";
  std::string too_large = "<excluded-regexes>";
  for (int i = 0; i < 150; ++i) {
    too_large += "<regex expr=\"" + std::to_string(i) + large + "\"/>";
  }
  too_large += "</excluded-regexes>";
  const std::string ends = "ERROR: Couldn't create the URL filters.\n\n";
  const std::tuple<std::string, int, std::string, bool> cases[] = {
      // elements, exit status, all of standard error, is the seed asked for
      {bad, 0, bad_errors, true},
      {bad + "<safety strict=\"true\"/>", 1, bad_errors + ends, false},
      {too_large, 1, ends, false},
  };
  for (const auto& [elements, exit_status, errors, is_asked] : cases) {
    SCOPED_TRACE(errors);
    const start_place place;
    const scripted_server server = start_scripted_server();
    place.write_profile(elements + "<seed-urls><url name=\"" +
                        get_url_scripted_server(server, "/") +
                        "\"/></seed-urls><robot honor=\"false\"/>" + STORE + LOG);
    const program_result result =
        place.run("-conf c.xml -spiders 1 -stop-when-empty -admin-thread-sleep-time 100");
    EXPECT_EQ(result.exit_status, exit_status);
    EXPECT_EQ(result.errors, errors);
    EXPECT_EQ(count_requests_scripted_server(server, "/") > 0, is_asked);
    EXPECT_EQ(
        place.read("log").find("Couldn't create 1 restricted URL filters") == std::string::npos,
        elements == too_large);
  }
}

TEST(start_up, writes_into_the_log_and_empties_store_and_temporary_directory_of_files_only) {
  const start_place place;
  place.write_profile(STORE + LOG);
  make_directory(place.directory, "store/below");
  for (const char* name : {"/store/old", "/temp/old", "/store/below/kept"}) {
    write_test_file(place.base + name, "kept");
  }
  EXPECT_EQ(place.run("-conf c.xml -spiders 0").exit_status, 0);
  EXPECT_EQ(place.read("store/old") + place.read("temp/old"), "");
  EXPECT_EQ(place.read("store/below/kept"), "kept");
  const std::string log = place.read("log");
  EXPECT_TRUE(log.starts_with("#Version: 1.0\n#Software: Wendrake Webcrawler\n")) << log;
  EXPECT_NE(log.find("#Fields: date time x-config-file\n"), std::string::npos);
  EXPECT_NE(log.find(get_zcrawler_path() + " -conf c.xml -spiders 0 \n"), std::string::npos);
  EXPECT_EQ(log.find("Crawler main loop started"), std::string::npos) << "no spiders, no crawl";
  EXPECT_TRUE(log.ends_with("Crawling process success!\n\n"));
}

// A crawl that was saved and checkpointed: "image" is what -save printed, "checkpoint" a horizon
// that holds "/queued" and no seed.
struct saved_crawl : start_place {
  scripted_server server = start_scripted_server();
  std::string queue_path = make_directory(directory, "checkpoint") + "/nfrontier.0.head.txt";
  std::string checkpoint = get_url_scripted_server(server, "/queued") + "\n";
  program_result save;

  saved_crawl() {
    write_test_file(queue_path, checkpoint);
    serve_page_scripted_server(server, "/queued", "<a href=\"/linked\">one</a>");
    serve_page_scripted_server(server, "/linked", "another page");
    write_profile("<seed-urls><url name=\"" + get_url_scripted_server(server, "/seed") +
                  "\"/></seed-urls>" + STORE + LOG +
                  "<robot honor=\"false\"/><frontier nb_queues=\"3\" sleep_interval=\"0\"/>"
                  "<checkpoint dir=\"{}/checkpoint\" interval=\"0\"/>");
    write_test_file(store + "/flatsite-1", "of an earlier crawl");
    save = run("-conf {}/c.xml -save");
    write_test_file(base + "/image", save.output);
  }
};

TEST(save, prints_an_image_starts_fresh_and_crawls_nothing) {
  const saved_crawl crawl;
  EXPECT_EQ(crawl.save.exit_status, 0);
  EXPECT_EQ(crawl.save.errors, "");
  EXPECT_TRUE(crawl.save.output.starts_with(std::string("\4\0\0\0\1\0\0\0", 8)));
  EXPECT_EQ(count_all_requests_scripted_server(crawl.server), 0u);
  EXPECT_EQ(crawl.read("store/flatsite-1"), "");
  const std::string log = crawl.read("log");
  EXPECT_TRUE(log.ends_with(" Crawling process success!\n\n")) << log;
  EXPECT_EQ(log.find("Crawler main loop started"), std::string::npos);
  EXPECT_EQ(log.find("x-cmdline-arguments"), std::string::npos);
}

TEST(restore, goes_on_from_the_checkpoint_whichever_way_it_is_asked_for) {
  for (const std::string way : {"-load {}/image", "-load {}/c.xml", "-load {}/c.xml -no-libxml",
                                "-conf {}/c.xml -restore"}) {
    SCOPED_TRACE(way);
    const saved_crawl crawl;
    const std::string stored =
        "FLATSITE_START\nDB_DOC_URL=http://h/\nDB_DOC_TYPE=html\nDB_DOC_LEN=1\nx\nFLATSITE_END\n";
    write_test_file(crawl.store + "/flatsite-1", stored + "FLATSITE_START\nDB_");
    const program_result result =
        crawl.run(way + " -spiders 2 -stop-when-empty -admin-thread-sleep-time 100");
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
    EXPECT_EQ(read_test_file(crawl.queue_path), crawl.checkpoint);
    EXPECT_NE(crawl.read("log").find("Crawling process success!"), std::string::npos);
  }
}

TEST(load, refuses_a_damaged_image_and_touches_nothing) {
  const saved_crawl crawl;
  const std::string& image = crawl.save.output;
  std::string other_store = image;
  other_store[image.find("/store")] = '-';
  for (const std::string& bytes :
       {image.substr(0, 4), image.substr(0, image.size() - 1), image + "x", other_store}) {
    SCOPED_TRACE(bytes.size());
    for (const char* name : {"/temp/file", "/store/file"})
      write_test_file(crawl.base + name, "kept");
    write_test_file(crawl.base + "/image", bytes);
    const program_result result = crawl.run("-load {}/image -spiders 1");
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, crawl.fill_in("The crawler image '{}/image' is damaged.\n"
                                           "Couldn't load crawler ({}/image #). Aborting\n"));
    EXPECT_EQ(crawl.read("temp/file") + crawl.read("store/file"), "keptkept");
  }
  EXPECT_EQ(count_all_requests_scripted_server(crawl.server), 0u);
}

// A crawl that waits for its only page, and keeps its directories to itself meanwhile.
TEST(start_up, refuses_the_directories_of_a_running_crawl_and_changes_nothing) {
  const saved_crawl crawl;
  scripted_server server = start_scripted_server();
  serve_answers_scripted_server(server, "/", {{.kind = ANSWER_STALL}});
  make_directory(crawl.directory, "other");
  const std::string seed = "<seed-urls><url name=\"" + get_url_scripted_server(server, "/") +
                           "\"/></seed-urls><robot honor=\"false\"/>";
  crawl.write_profile(seed + STORE + LOG + "<checkpoint dir=\"{}/checkpoint\"/>");
  running_program first =
      start_program({.arguments = {get_zcrawler_path(), "-conf", "c.xml", "-spiders", "1",
                                   "-admin-thread-sleep-time", "600000"},
                     .directory = crawl.base},
                    make_directory(crawl.directory, "said"));
  ASSERT_TRUE(wait_for_request_scripted_server(server, "/"));
  std::filesystem::create_symlink(crawl.temp, crawl.base + "/link");
  for (const char* name : {"store/kept", "temp/kept", "other/kept", "log2"}) {
    write_test_file(crawl.base + "/" + name, "kept");
  }
  const std::string other = "<log name=\"{}/log2\"/><store name=\"{}/";
  const std::tuple<std::string, const char*, const char*> cases[] = {
      // elements of the second crawl's profile (none: the first one's), options, the directory
      // named
      {"", "-conf c.xml", "store"},
      {"", "-conf c.xml -save", "store"},
      {"", "-conf c.xml -restore", "store"},
      {"", "-load image", "store"},
      {other + "other\" temp_data_path=\"{}/link\"/>", "-conf d.xml", "link"},
      {other + "temp\" temp_data_path=\"{}/other\"/>", "-conf d.xml", "temp"},
      {other + "other\"/><checkpoint dir=\"{}/checkpoint\"/>", "-conf d.xml -restore",
       "checkpoint"},
  };
  for (const auto& [elements, options, directory] : cases) {
    SCOPED_TRACE(elements + options);
    write_test_file(crawl.base + "/d.xml",
                    crawl.fill_in("<c><crawler admin-port=\"-1\">" + elements + "</crawler></c>"));
    const auto before = read_directory_bytes(crawl.base);
    const auto stored = read_directory_bytes(crawl.store),
               queued = read_directory_bytes(crawl.temp);
    const program_result second = crawl.run(std::string(options) + " -spiders 0");
    EXPECT_EQ(second.exit_status, 1);
    EXPECT_EQ(second.output, "");
    EXPECT_EQ(second.errors, "ERROR: The directory '" + crawl.base + "/" + directory +
                                 "' is in use by another crawl.\n\n");
    EXPECT_TRUE(before == read_directory_bytes(crawl.base));
    EXPECT_TRUE(stored == read_directory_bytes(crawl.store));
    EXPECT_TRUE(queued == read_directory_bytes(crawl.temp));
    EXPECT_EQ(crawl.read("other/kept"), "kept");
  }
  signal_program(first, SIGKILL);
  EXPECT_EQ(wait_program(first).exit_status, 128 + SIGKILL);
  EXPECT_EQ(crawl.run("-conf c.xml -spiders 0").exit_status, 0) << "the lock ends with its crawl";
  EXPECT_EQ(crawl.read("store/kept"), "");
}

TEST(start_up, says_that_a_restore_without_a_checkpoint_begins_anew) {
  const std::tuple<std::string, std::string> cases[] = {
      {"", "The profile names no checkpoint directory"},
      {"<checkpoint dir=\"{}/empty\"/>", "There is no checkpoint in {}/empty"},
  };
  for (const auto& [element, reason] : cases) {
    const start_place place;
    make_directory(place.directory, "empty");
    place.write_profile(STORE + LOG + element);
    const program_result result = place.run("-conf c.xml -restore");
    EXPECT_EQ(result.exit_status, 0);
    const std::string said =
        place.fill_in(reason) + ": the crawl begins anew, and with no URL, not even its seeds\n";
    EXPECT_TRUE(result.errors.starts_with(said)) << result.errors;
    EXPECT_NE(place.read("log").find(said), std::string::npos);
  }
}

// Files that a crawl writes may not be the profile, by whatever name.
TEST(start_up, never_writes_into_its_own_profile) {
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"c.xml", "<log name=\"{}/c.xml\"/>", "log"},
      {"c.xml", "<store name=\"{}/store\" status_file_path=\"{}/alias\"/>", "status file"},
      {"c.3", "<store name=\"{}/store\" link_file_path=\"{}/c\"/>", "link file"},
  };
  for (const auto& [name, elements, what] : cases) {
    SCOPED_TRACE(elements);
    const start_place place;
    const std::string path = place.base + "/" + name;
    const std::string text =
        place.fill_in("<c><crawler admin-port=\"-1\">" + STORE + elements + "</crawler></c>");
    write_test_file(path, text);
    std::filesystem::create_symlink(path, place.base + "/alias");
    write_test_file(place.store + "/kept", "kept");
    for (const char* option : {"-conf {}/", "-load {}/"}) {
      const program_result result = place.run(option + std::string(name) + " -spiders 1");
      EXPECT_EQ(result.exit_status, 1);
      EXPECT_TRUE(result.errors.ends_with("ERROR: The " + std::string(what) +
                                          " would overwrite the profile '" + path + "'.\n\n"))
          << result.errors;
      EXPECT_EQ(read_test_file(path), text);
      EXPECT_EQ(place.read("store/kept"), "kept");
    }
  }
}

TEST(parse_repository, is_created_and_read_back_or_said_to_be_useless) {
  const start_place place;
  const program_result made = place.run("-create-parse-repository");
  EXPECT_EQ(made.exit_status, 0);
  EXPECT_EQ(made.errors, "");
  ASSERT_TRUE(made.output.starts_with(std::string("WKPR\1\0\0\0", 8)));
  std::string damaged = made.output;
  damaged.back() = static_cast<char>(damaged.back() ^ 1);
  const std::tuple<std::string, std::string> cases[] = {
      {made.output, ""},
      {damaged, place.base + "/r: incorrect file type (1380993879)\n"},
  };
  for (const auto& [bytes, errors] : cases) {
    write_test_file(place.base + "/r", bytes);
    const program_result result = place.run("-parse-repository {}/r -create-parse-repository");
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.output, made.output);
    EXPECT_EQ(result.errors, errors);
  }
}

}  // namespace
}  // namespace wk
