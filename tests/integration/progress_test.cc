// The line of progress of the real program, as a terminal shows it.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/crawl_run.h"
#include "tests/support/scripted_server.h"

namespace wk {
namespace {

// What a terminal of endless height makes of the bytes that it knows; others fail the test.
std::vector<std::string> draw_screen(std::string_view bytes) {
  std::vector<std::string> rows(1);
  size_t column = 0;
  while (!bytes.empty()) {
    if (bytes.starts_with("\x1b[K")) {
      rows.back().resize(column);
      bytes.remove_prefix(2);
    } else if (bytes[0] == '\r') {
      column = 0;
    } else if (bytes[0] == '\n') {
      rows.emplace_back(column, ' ');
    } else {
      EXPECT_TRUE(bytes[0] >= ' ' && bytes[0] <= '~') << static_cast<int>(bytes[0]);
      if (rows.back().size() <= column) rows.back().resize(column + 1, ' ');
      rows.back()[column++] = bytes[0];
    }
    bytes.remove_prefix(1);
  }
  return rows;
}

struct pseudo_terminal {
  int master = ::posix_openpt(O_RDWR | O_NOCTTY);
  std::string name;

  explicit pseudo_terminal(unsigned short nb_columns) {
    struct winsize size {};
    size.ws_row = 25;
    size.ws_col = nb_columns;
    if (::grantpt(master) != 0 || ::unlockpt(master) != 0 ||
        ::ioctl(master, TIOCSWINSZ, &size) != 0) {
      std::perror("pseudo terminal");
      std::abort();
    }
    name = ::ptsname(master);
  }
  ~pseudo_terminal() { ::close(master); }
  pseudo_terminal(const pseudo_terminal&) = delete;
  pseudo_terminal& operator=(const pseudo_terminal&) = delete;

  // Reads until the bytes hold what is awaited (nothing: never), or nobody writes there any more.
  void read_until(std::string_view awaited, std::string& bytes) const {
    char piece[4096];
    while (awaited.empty() || bytes.find(awaited) == std::string::npos) {
      const ssize_t nb_read = ::read(master, piece, sizeof piece);
      if (nb_read <= 0) return;
      bytes.append(piece, static_cast<size_t>(nb_read));
    }
  }
};

// What a crawl writes to the terminal: one that hangs in its second page until it is told to stop,
// which happens once it has written what is awaited.
std::string watch_crawl(const pseudo_terminal& terminal, std::string_view awaited) {
  scripted_server server = start_scripted_server();
  serve_page_scripted_server(server, "/", "<a href='/hang'>x</a>");
  serve_answers_scripted_server(server, "/hang", {{.kind = ANSWER_STALL}});
  const crawl_place place;
  crawl_setup crawl;
  crawl.profile.seeds = {get_url_scripted_server(server, "/")};
  prepare_crawl(place, crawl);
  program_setup setup;
  setup.arguments = {"/bin/sh",           "-c",    "exec \"$0\" \"$@\" >" + terminal.name + " 2>&1",
                     get_zcrawler_path(), "-conf", place.directory.path + "/crawl.xml"};
  setup.environment = {{"TERM", "xterm"}};
  running_program program = start_program(setup, place.directory.path);
  std::string bytes;
  EXPECT_TRUE(wait_for_request_scripted_server(server, "/hang"));
  terminal.read_until(awaited, bytes);
  signal_program(program, SIGINT);
  terminal.read_until({}, bytes);
  EXPECT_EQ(wait_program(program).exit_status, 0);
  return bytes;
}

TEST(progress, is_drawn_over_one_line_and_leaves_none) {
  const pseudo_terminal terminal(30);
  const std::string bytes = watch_crawl(terminal, "1 pages  0 queued");
  for (const std::string& row : draw_screen(bytes.substr(0, bytes.find("Stopping")))) {
    EXPECT_LT(row.size(), 30u) << "wraps: " << row;
  }
  // The messages alone stay; that of the exhausted horizon when the stop came to a round.
  std::vector<std::string> rows = draw_screen(bytes);
  std::erase(rows, "stop the crawler because horizon empty and no active threads!");
  EXPECT_EQ(rows, (std::vector<std::string>{
                      "Stopping the crawl; a second signal ends the process at once.", ""}));
}

}  // namespace
}  // namespace wk
