#include <gtest/gtest.h>

#include "crawler/core/crawler_image.h"
#include "tests/crawler/core/built_crawler.h"

namespace wk {
namespace {

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

}  // namespace
}  // namespace wk
