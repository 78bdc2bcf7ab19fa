#include "crawler/core/page_allowance.h"

#include <gtest/gtest.h>

#include "crawler/config/crawler_config.h"
#include "crawler/url/url_parts.h"

namespace wk {
namespace {

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
