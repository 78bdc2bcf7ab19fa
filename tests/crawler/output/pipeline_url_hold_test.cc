// A pipeline, alone and as one of several stores.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "crawler/fetch/fetch_settings.h"
#include "crawler/output/header_record.h"
#include "crawler/output/url_hold.h"
#include "tests/support/pipeline_peer.h"
#include "tests/support/temp_directory.h"
#include "wkstd/state_stream.h"

namespace wk {
namespace {

struct pipeline_fixture {
  stop_gate gate;
  fetch_settings fetch;
  quota crawl_quota;
  pipeline_peer peer;

  explicit pipeline_fixture(const std::vector<int>& answers)
      : peer{[answers](size_t number) { return answers.at(number - 1); },
             [this] {
               if (peer.items.back().url == "stop") set_stop_stop_gate(gate);
             }} {
    fetch.gate = &gate;
    set_page_limit_quota(crawl_quota, 100);
    start_pipeline_peer(peer);
  }
  url_hold_ptr create(uint32_t port) {
    return create_pipeline_url_hold("127.0.0.1", port, false, nullptr, &fetch);
  }
  int store(url_hold& hold, std::string_view url, const std::string& content = "x") {
    const stored_document document = {url, "html", {}, {}, 0, content};
    return store_document_url_hold(hold, document, crawl_quota);
  }
};

TEST(pipeline_url_hold, counts_what_its_peer_has_taken_and_says_the_rest) {
  pipeline_fixture f({0, 1, 2, 0});
  const url_hold_ptr hold = f.create(f.peer.port);
  testing::internal::CaptureStderr();
  EXPECT_EQ(f.store(*hold, "a", std::string("a\0]]>]]>]]", 10)), 1);
  EXPECT_EQ(f.store(*hold, "b", std::string(200'000, 'x')), 0);
  EXPECT_EQ(f.store(*hold, "c") + f.store(*hold, "") + f.store(*hold, "no content", ""), 0);
  f.fetch.own_port = f.peer.port;
  EXPECT_EQ(f.store(*hold, "own") + f.store(*f.create(0), "bad"), 0);
  f.fetch.own_port = 0;
  EXPECT_EQ(f.store(*hold, "stop"), 1) << "an answer that is on its way is heard";
  EXPECT_EQ(f.store(*hold, "late"), 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "b  Not stored by the pipeline (refused)\n"
            "c  Not stored by the pipeline (an unknown answer)\n"
            "own  Not stored by the pipeline (no connection)\n"
            "bad  Not stored by the pipeline (no connection)\n"
            "late  Not stored by the pipeline (the crawl has stopped)\n");
  EXPECT_EQ(get_nb_stored_url_hold(*hold), 2u);
  EXPECT_EQ(f.crawl_quota.pages, 2u);
  end_pipeline_peer(f.peer);
  const received_item& first = f.peer.items.at(0);
  EXPECT_TRUE(first.numbers[0] == 1 && first.numbers[1] == 512 && first.url == "a");
  const std::string body = std::string("a\0]]", 4) + "]]><![CDATA[>]]]]><![CDATA[>]]";
  EXPECT_EQ(first.text,
            "<item>\n<id><![CDATA[a]]></id>\n<body><![CDATA[" + body + "]]></body>\n</item>\n");
}

url_hold_ptr create_pair(const std::string& directory, const char* host, uint32_t port) {
  std::vector<url_hold_ptr> inner, members;
  inner.push_back(create_pipeline_url_hold(host, port, true, nullptr, nullptr));
  members.push_back(create_flatsite_url_hold(directory, nullptr));
  members.push_back(create_composite_url_hold(std::move(inner)));
  return create_composite_url_hold(std::move(members));
}

TEST(composite_url_hold, hands_to_every_member_and_counts_and_restores_them_together) {
  const temp_directory directory;
  pipeline_fixture f({1});
  const url_hold_ptr hold = create_pair(directory.path, "127.0.0.1", f.peer.port);
  EXPECT_EQ(f.store(*hold, "u", std::string("\0\xff]]>", 5)), 1);
  EXPECT_EQ(f.crawl_quota.pages, 1u);
  end_pipeline_peer(f.peer);
  EXPECT_EQ(f.peer.items.at(0).text,
            "<item>\n<id><![CDATA[u]]></id>\n<raw>AP9dXT4=</raw>\n"
            "<mimetype>html</mimetype>\n</item>\n");
  http_headers request, response;
  set_http_headers(request, "Host", "h");
  EXPECT_EQ(store_headers_url_hold(*hold, {"u", &request, &request, "no length"}), 0);
  set_http_headers(response, "content-LENGTH", "2");
  EXPECT_EQ(store_headers_url_hold(*hold, {"u", &request, &response, "1"}), 0);
  EXPECT_EQ(store_headers_url_hold(*hold, {"u", &request, &response, "abc"}), 1);
  EXPECT_EQ(get_nb_stored_url_hold(*hold), 1u);
  const std::string written = read_test_file(directory.path + "/flatsite-1");
  EXPECT_NE(written.find("\nFLATSITE_END\nWKVER: 1.0\nWKURL: u\nWKDATE: "), std::string::npos);
  EXPECT_TRUE(written.ends_with("\n\nHost: h\n\ncontent-LENGTH: 2\n\nWKLEN: 2\n\nab\n\n"));

  std::string image, pipeline, before, after;
  save_url_hold(*hold, image);
  for (const uint32_t word : {8'745'613U, 1U, 1U, 98'723'451U, 1U}) append_u32(pipeline, word);
  append_string(pipeline, "127.0.0.1");
  append_u32(pipeline, f.peer.port);
  EXPECT_TRUE(image.ends_with(pipeline));
  for (size_t length = 0; length < image.size(); ++length) {
    std::string_view rest = std::string_view(image).substr(0, length);
    EXPECT_FALSE(skip_url_hold_image(rest) || load_url_hold(rest, *hold)) << length;
  }
  const url_hold_ptr other = create_pair(directory.path, "elsewhere", f.peer.port);
  save_url_hold(*other, before);
  std::string_view rest = image;
  EXPECT_FALSE(load_url_hold(rest, *other)) << "its first member would have taken its part";
  save_url_hold(*other, after);
  EXPECT_EQ(after, before);
  EXPECT_TRUE(load_url_hold(rest, *create_pair(directory.path, "127.0.0.1", f.peer.port)));
  rest = image;
  EXPECT_TRUE(skip_url_hold_image(rest) && rest.empty());
}

}  // namespace
}  // namespace wk
