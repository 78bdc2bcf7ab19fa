#include "crawler/core/page_allowance.h"

#include <gtest/gtest.h>

#include <string>

#include "crawler/config/crawler_config.h"
#include "crawler/url/url_parts.h"

namespace wk {
namespace {

TEST(page_allowance, allows_one_page_more_than_the_stored_guest_limit) {
  page_allowance allowance;
  init_page_allowance(allowance, 2);
  add_seed_page_allowance(allowance, "http://a.test/start", 1);
  add_seed_page_allowance(allowance, "http://b.test/", NO_GUEST_PAGE_LIMIT);

  EXPECT_EQ(count_guest_page_allowance(allowance, "http://a.test/1"), GUEST_STORE);
  EXPECT_FALSE(is_guest_limit_reached_page_allowance(allowance, "http://a.test/2"));
  EXPECT_EQ(count_guest_page_allowance(allowance, "http://a.test/2"), GUEST_STORE_LAST);
  EXPECT_TRUE(is_guest_limit_reached_page_allowance(allowance, "http://a.test/3"));
  EXPECT_EQ(count_guest_page_allowance(allowance, "http://a.test/3"), GUEST_REFUSE);

  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(count_guest_page_allowance(allowance, "http://b.test/x"), GUEST_STORE);
    EXPECT_EQ(count_guest_page_allowance(allowance, "http://other.test/x"), GUEST_STORE);
  }
  EXPECT_FALSE(is_guest_limit_reached_page_allowance(allowance, "http://a.test:81/"))
      << "another port is another site";
}

TEST(page_allowance, counts_fetches_of_a_limited_host_and_gives_back_failed_ones) {
  page_allowance allowance;
  init_page_allowance(allowance, 1);
  set_site_limit_page_allowance(allowance, hash_url_host("a.test"), 5);
  set_site_limit_page_allowance(allowance, hash_url_host("a.test"), 2);

  EXPECT_TRUE(begin_fetch_page_allowance(allowance, "http://a.test/1"));
  EXPECT_TRUE(begin_fetch_page_allowance(allowance, "https://a.test/2"));
  EXPECT_FALSE(begin_fetch_page_allowance(allowance, "http://a.test/3"));
  cancel_fetch_page_allowance(allowance, "http://a.test/2");
  EXPECT_TRUE(begin_fetch_page_allowance(allowance, "http://a.test/4"));
  EXPECT_FALSE(begin_fetch_page_allowance(allowance, "http://a.test/5"));
  EXPECT_TRUE(begin_fetch_page_allowance(allowance, "http://b.test/"));
}

}  // namespace
}  // namespace wk
