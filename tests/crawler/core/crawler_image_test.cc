#include "crawler/core/crawler_image.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "crawler/config/config_text.h"
#include "tests/crawler/core/built_crawler.h"
#include "wkstd/directory.h"
#include "wkstd/state_stream.h"

namespace wk {
namespace {

using namespace std::string_literals;

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
  return std::tuple(c.waits_for_hosts, c.rules.canonical_urls, c.follows_links,
                    c.parse_javascript_flash, c.forever_mode, c.store_directory, c.temp_directory,
                    c.link_file_base, c.admin_port, c.nb_spiders, c.stop_when_empty,
                    c.admin_thread_sleep_time_ms, c.checkpoint_directory,
                    c.checkpoint_interval_seconds, f.proxy, f.user_agent, f.timeout_ms, f.retries,
                    f.retry_wait_ms, f.all_cookies_mode, f.no_cookie_domains, c.rules.strict_safety,
                    f.credentials.size());
}

TEST(crawler_image, brings_every_setting_back) {
  const crawler_place place;
  const crawler_ptr saved = build(place);
  change(*saved, place);
  saved->directories = {};  // makes way for the other crawl
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

TEST(crawler_image, is_told_from_a_profile_by_four_bytes) {
  for (const std::string& bytes : {""s, "<?xml version=\"1.0\"?>"s, "\4\0\0"s, "\0\0\0\4"s}) {
    EXPECT_FALSE(is_crawler_image(bytes)) << bytes;
  }
  EXPECT_TRUE(is_crawler_image("\4\0\0\0and more"s));
}

TEST(crawler_image, holds_a_pipeline_and_the_dates_of_earlier_crawls) {
  crawler_place place;
  place.profile.news_pipeline_enabled = 1;
  const crawler_ptr saved = build(place);
  hash_string_ptr dates = create_hash_string(50'000);
  set_hash_string(*dates, "http://a.test/", 1'600'000'000);  // a seed already
  set_hash_string(*dates, "http://old.test/#x", 7);
  attach_url_dates_crawler(*saved, std::move(dates));
  EXPECT_EQ(saved->horizon->count_urls(*saved->horizon), 4u) << "three of the profile, and one";
  std::string image;
  save_crawler(*saved, image);
  saved->directories = {};  // makes way for the other crawl
  const crawler_ptr loaded = load_crawler_image(image);
  ASSERT_TRUE(loaded != nullptr && loaded->url_dates != nullptr);
  EXPECT_EQ(lookup_hash_string("http://a.test/", *loaded->url_dates), 1'600'000'000u);
  EXPECT_EQ(lookup_hash_string("http://old.test/#x", *loaded->url_dates), 7u);
  EXPECT_EQ(loaded->horizon->count_urls(*loaded->horizon), 3u) << "the checkpoint's are the rest";
  for (size_t length = image.size() - 1; length > image.size() - 200; --length) {
    EXPECT_EQ(load_crawler_image(std::string_view(image).substr(0, length)), nullptr) << length;
  }
  image[image.find("pipeline.test")] ^= 1;
  EXPECT_EQ(load_crawler_image(image), nullptr) << "the pipeline of another profile";
}

}  // namespace
}  // namespace wk
