// A crawler as an image holds it, and what it counts.
#include "crawler/core/crawler_image.h"

#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <tuple>
#include <vector>

#include "crawler/config/config_text.h"
#include "crawler/config/crawler_config.h"
#include "crawler/core/crawl_counters.h"
#include "crawler/core/page_allowance.h"
#include "crawler/url/url_parts.h"
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

TEST(build_crawler, says_what_of_a_profile_it_leaves_out) {
  crawler_place place;
  place.profile.seed_urls = {"http://a.test/\x01"};
  place.profile.max_guest_pages.resize(1);
  place.profile.excluded_regexes = {"(", "good"};
  place.profile.substitutions = {{"(", ""}};
  testing::internal::CaptureStderr();
  const crawler_ptr crawler = build(place);
  const std::string said = testing::internal::GetCapturedStderr();
  EXPECT_NE(said.find("The URL substitution of '(' by '' is left out: "), std::string::npos)
      << said;
  EXPECT_NE(said.find("The seed URL 'http://a.test/\x01' can't be crawled; it is left out.\n"),
            std::string::npos);
  flush_log(*crawler->log);
  EXPECT_NE(read_test_file(place.base + "/log").find("Couldn't create 1 excluded regex filters\n"),
            std::string::npos);
}

TEST(crawl_counters, sort_a_fetch_by_its_status_and_its_time) {
  constexpr size_t LAST = NB_FETCH_TIME_CLASSES - 1;
  const std::tuple<uint32_t, uint64_t, size_t, size_t> cases[] = {
      {200, 0, 2, 0},
      {299, 5'000, 2, 0},
      {301, 5'001, 3, 1},
      {100, 1'000'000, 1, 7},
      {404, 60'000'000, 4, LAST - 1},
      {500, 60'000'001, 5, LAST},
      {0, UINT64_MAX, 0, LAST},
      {99, 1, 0, 0},
      {600, 1, 0, 0},
      {4'294'967'295, 1, 0, 0},
  };
  for (const auto& [status, time_us, fetch_class, time_class] : cases) {
    SCOPED_TRACE(status);
    crawl_counters counters;
    begin_crawl_counters(counters, 1);
    count_fetch_spider(get_slot_crawl_counters(counters, 1), status, time_us);
    const crawl_counts counts = sum_crawl_counters(counters);
    EXPECT_EQ(counts.fetches[fetch_class], 1u);
    EXPECT_EQ(counts.fetch_times[time_class], 1u);
    EXPECT_EQ(counts.fetch_time_us, time_us);
    EXPECT_EQ(std::accumulate(counts.fetches.begin(), counts.fetches.end(), uint64_t{0}), 1u);
  }
}

TEST(page_allowance, allows_one_page_more_than_the_stored_guest_limit) {
  page_allowance allowance;
  init_page_allowance(allowance, 2);
  add_seed_page_allowance(allowance, "http://a.test/start", 1);
  add_seed_page_allowance(allowance, "http://b.test/", NO_GUEST_PAGE_LIMIT);
  for (const guest_answer answer : {GUEST_STORE, GUEST_STORE_LAST, GUEST_REFUSE}) {
    const bool is_reached = answer == GUEST_REFUSE;
    EXPECT_EQ(is_guest_limit_reached_page_allowance(allowance, "http://a.test/1"), is_reached);
    EXPECT_EQ(count_guest_page_allowance(allowance, "http://a.test/1"), answer);
    EXPECT_EQ(count_guest_page_allowance(allowance, "http://b.test/x"), GUEST_STORE);
    EXPECT_EQ(count_guest_page_allowance(allowance, "http://a.test:81/x"), GUEST_STORE)
        << "another port is another site";
  }
}

TEST(page_allowance, counts_fetches_of_a_limited_host_and_gives_back_failed_ones) {
  page_allowance allowance;
  init_page_allowance(allowance, 1);
  for (const int32_t limit : {5, 2}) {
    set_site_limit_page_allowance(allowance, hash_url_host("a.test"), limit);
  }
  for (const auto& [url, allowed] : {std::pair{"http://a.test/1", true},
                                     {"https://a.test/2", true},
                                     {"http://a.test/3", false},
                                     {"http://b.test/", true}}) {
    EXPECT_EQ(begin_fetch_page_allowance(allowance, url), allowed) << url;
  }
  cancel_fetch_page_allowance(allowance, "http://a.test/2");
  EXPECT_TRUE(begin_fetch_page_allowance(allowance, "http://a.test/4"));
  EXPECT_FALSE(begin_fetch_page_allowance(allowance, "http://a.test/5"));
}

}  // namespace
}  // namespace wk
