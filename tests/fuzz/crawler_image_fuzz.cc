// An image with any bytes changed is refused, or gives a crawler whose image gives the same one.
#include <unistd.h>

#include <string>

#include "crawler/core/build_crawler.h"
#include "crawler/core/crawler_image.h"
#include "tests/fuzz/fuzz_law.h"
#include "tests/support/temp_directory.h"

namespace wk {
namespace {

std::string save(Crawler& crawler) {
  std::string image;
  save_crawler(crawler, image);
  return image;
}

// Every path of the image is a name in the working directory, which is a directory for this alone.
std::string build_image() {
  static const temp_directory place;
  for (const char* name : {"store", "temp", "checkpoint"}) make_directory(place, name);
  if (::chdir(place.path.c_str()) != 0) std::abort();
  CrawlerConfig config;
  config.store_name = "store";
  config.temp_data_path = "temp";
  config.checkpoint_directory = "checkpoint";
  config.log_name = "log";
  config.nb_queues = 2;
  config.disk_cache_size = 1'000;
  config.seed_urls = {"a.test"};
  config.restricted_regexes = {".*[.]b", "c"};
  config.credentials = {{"site", "user", "pass"}};
  config.disabled_cookie_sites = {"ads.test"};
  const crawler_ptr crawler = build_crawler(config);
  crawler->url_dates = create_hash_string(1);
  insert_hash_string(*crawler->url_dates, "d.test", 7);
  return save(*crawler);
}

// Each edit: how many bytes to go on, how many to take away, and what stands there instead.
std::string edit_image(std::string image, std::string_view edits) {
  size_t at = 0;
  while (!edits.empty()) {
    at = std::min(at + 3 * size_t{take_byte(edits)} / 2, image.size());
    const size_t nb_gone = take_byte(edits) % 16;
    image.replace(at, nb_gone, take_part(edits));
  }
  return image;
}

// A crawl begins by emptying directories: no path may lead out of ours.
bool stays_here(std::string_view image) {
  return image.find('/') == std::string_view::npos && image.find("..") == std::string_view::npos;
}

struct loading {
  std::string image;
  crawler_ptr crawler;
};

std::string load_and_save(const std::string& image) {
  static loading load;  // outlives a fatal report
  load.image = image;
  load.crawler.reset();
  const auto action = [](void*) { load.crawler = load_crawler_image(load.image); };
  if (!runs_to_its_end(action, nullptr) || load.crawler == nullptr) return {};
  return save(*load.crawler);
}

}  // namespace

void test_one_input(std::string_view bytes) {
  static const std::string original = build_image();
  const std::string image = edit_image(original, bytes);
  if (!stays_here(image)) return;
  const std::string saved = load_and_save(image);
  require_law(image != original || saved == original, "an image is saved as it was loaded");
  require_law(saved.empty() || load_and_save(saved) == saved, "a saved image stays as it is");
}

}  // namespace wk
