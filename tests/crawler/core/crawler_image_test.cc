#include "crawler/core/crawler_image.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "crawler/config/config_text.h"
#include "tests/crawler/core/built_crawler.h"
#include "wkstd/directory.h"
#include "wkstd/state_stream.h"

namespace wk {
namespace {

std::string save(Crawler& crawler) {
  std::string image;
  save_crawler(crawler, image);
  return image;
}

const content_digest SEEN = compute_text_digest("a page that was seen");

// What a crawl and its operator change after the build.
void change(Crawler& crawler, const crawler_place& place) {
  set_spiders_crawler(crawler, 7);
  set_admin_port_crawler(crawler, 8'123);
  set_stop_when_empty_crawler(crawler, false);
  set_admin_thread_sleep_time_crawler(crawler, 50);
  crawler.checkpoint_directory = place.store + "/..";
  crawler.checkpoint_interval_seconds = 77;
  ASSERT_EQ(add_url_filter(crawler.filter, URL_FILTER_EXCLUDED, URL_FILTER_REGEX, ".*late.*"), 1u);
  crawler.fetch.user_agent = "changed";
  crawler.fetch.timeout_ms = -1;
  crawler.fetch.no_cookie_domains.insert("late.test");
  add_credential_fetch_settings(crawler.fetch, "late.test", "u", "p");
  (void)test_and_enter_digest_table(*crawler.digests, SEEN);
  const stored_document document{"http://a.test/", "html", {}, {}, 0, "stored"};
  ASSERT_EQ(store_document_url_hold(*crawler.store, document, crawler.crawl_quota), 1);
}

auto list_settings(const Crawler& c) {
  const fetch_settings& f = c.fetch;
  return std::tuple(c.waits_for_hosts, c.canonical_urls, c.follows_links, c.parse_javascript_flash,
                    c.forever_mode, c.store_directory, c.temp_directory, c.link_file_base,
                    c.admin_port, c.nb_spiders, c.stop_when_empty, c.admin_thread_sleep_time_ms,
                    c.checkpoint_directory, c.checkpoint_interval_seconds, f.proxy, f.user_agent,
                    f.timeout_ms, f.retries, f.retry_wait_ms, f.all_cookies_mode,
                    f.no_cookie_domains, f.strict_safety, f.canonical_urls, f.credentials.size());
}

TEST(crawler_image, brings_every_setting_back) {
  const crawler_place place;
  const crawler_ptr saved = build(place);
  change(*saved, place);
  const crawler_ptr loaded = load_crawler_image(save(*saved));
  ASSERT_NE(loaded, nullptr);

  EXPECT_EQ(list_settings(*saved), list_settings(*loaded));
  EXPECT_TRUE(test_and_enter_digest_table(*loaded->digests, SEEN));
  const std::tuple<const char*, bool> urls[] = {
      {"http://a.test/", true},
      {"http://a.test/private/x", false},
      {"http://b.test/start", true},
      {"http://b.test/x.zip", false},
      {"http://b.test/?session=1", false},
      {"http://b.test/late", false},
      {"http://c.test/page.html", true},
      {"http://c.test/", false},
  };
  for (const auto& [url, allowed] : urls) {
    EXPECT_EQ(is_allowed_url_filter(saved->filter, url), allowed) << url;
    EXPECT_EQ(is_allowed_url_filter(loaded->filter, url), allowed) << url;
  }

  config_values expected = place.profile;
  expected.nb_spiders = 7;
  expected.admin_port = 8'123;
  expected.stop_when_empty = false;
  expected.admin_thread_sleep_time_ms = 50;
  expected.checkpoint_directory = place.store + "/..";
  expected.checkpoint_interval_seconds = 77;
  EXPECT_TRUE(loaded->profile == expected);
  saved->profile = expected;
  EXPECT_EQ(save(*loaded), save(*saved)) << "all that has a row";
}

TEST(crawler_image, holds_its_rows_in_order) {
  const crawler_place place;
  const crawler_ptr crawler = build(place);
  const std::string image = save(*crawler);
  std::string begin;
  for (const uint32_t number : {4U, 1U, 2222U}) append_u32(begin, number);
  append_string(begin, place.temp);
  append_u32(begin, 3);  // the seeds and the portal list
  save_url_filter(crawler->filter, begin);
  append_u32(begin, T_FLATSITE_URL_HOLD_OBJ);
  for (const uint32_t word : {1U, 1U, 1U, 0U, 0U, 11U, 1U, 0U, 12U, 0U}) append_u32(begin, word);
  append_string(begin, place.store);
  append_u64(begin, 0);  // digests
  append_u32(begin, LOG_FILE_TAG);
  append_u32(begin, 1);
  append_string(begin, place.base + "/log");
  append_u32(begin, 1);
  for (const uint32_t word : {1U, 1U, 0U, 0U, 13U, 1U, 0U, 14U}) append_u32(begin, word);
  ASSERT_EQ(image.substr(0, begin.size()), begin);

  std::string end;
  std::string profile;
  write_config_text(place.profile, profile);
  append_text_item(end, profile);
  for (const uint32_t number : {0xffffffffU, 3U, 1U, 250U, 0U, 3600U}) append_u32(end, number);
  append_text_item(end, place.checkpoint);
  append_u32(end, 0);
  ASSERT_GT(image.size(), begin.size() + end.size());
  EXPECT_EQ(image.substr(image.size() - end.size()), end);
}

TEST(crawler_image, is_refused_untouched_when_it_is_not_whole) {
  const crawler_place place;
  const std::string image = save(*build(place));
  const std::string witness = place.temp + "/witness";
  write_test_file(witness, "here");
  for (size_t length = 0; length < image.size(); ++length) {
    EXPECT_EQ(load_crawler_image(std::string_view(image).substr(0, length)), nullptr) << length;
  }
  EXPECT_EQ(load_crawler_image(image + "x"), nullptr) << "more than an image";
  std::string other_store = image;
  other_store[image.find(place.store) + place.store.size() - 1] ^= 1;
  EXPECT_EQ(load_crawler_image(other_store), nullptr) << "rows of two different stores";
  EXPECT_EQ(read_test_file(witness), "here");
  EXPECT_NE(load_crawler_image(image), nullptr);
  EXPECT_EQ(read_test_file(witness), "") << "a whole image's crawler moves in";
}

// Paths are left whole, for a directory that is not there ends the process.
TEST(crawler_image, with_a_damaged_byte_is_refused_or_gives_a_crawler) {
  const crawler_place place;
  const std::string image = save(*build(place));
  std::vector<bool> is_path(image.size(), false);
  for (size_t at = image.find(place.base); at != std::string::npos;
       at = image.find(place.base, at + 1)) {
    constexpr size_t NB_LENGTH_BYTES = 8;
    const size_t end = at + place.checkpoint.size();  // the longest path
    for (size_t i = at - NB_LENGTH_BYTES; i < end; ++i) is_path[i] = true;
  }
  size_t nb_refused = 0;
  size_t nb_built = 0;
  for (size_t i = 0; i < image.size(); ++i) {
    if (is_path[i]) continue;
    std::string damaged = image;
    damaged[i] = static_cast<char>(damaged[i] ^ (i % 2 == 0 ? 0x01 : 0x80));
    ++(load_crawler_image(damaged) == nullptr ? nb_refused : nb_built);
  }
  EXPECT_GT(nb_refused, 100u);
  EXPECT_GT(nb_built, 100u) << "a changed number or text may be a crawler's too";
}

TEST(is_crawler_image, tells_images_from_profiles_by_four_bytes) {
  for (const char* profile : {"", "<?xml version=\"1.0\"?>", "\4"})
    EXPECT_FALSE(is_crawler_image(profile));
  EXPECT_FALSE(is_crawler_image(std::string("\0\0\0\4", 4)));
  EXPECT_FALSE(is_crawler_image(std::string("\4\0\0", 3)));
  EXPECT_TRUE(is_crawler_image(std::string("\4\0\0\0and more", 12)));
}

}  // namespace
}  // namespace wk
