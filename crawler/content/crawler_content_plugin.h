// The content plug-ins of a crawl: an ordered set of things that say how certain they are that a
// document is of their kind, and can turn it into text for an index.
//
// A certainty runs from 0 (no) to 255 (sure). The set carries a threshold that documents worth
// converting exceed. It is kept for those who convert: the crawl itself takes a document's class
// from its Content-Type (content_class.h).
//
// Owner: the crawler. Threads: any; the set's lock is held for no longer than it takes to look a
// plug-in up, so a slow plug-in keeps nobody from the threshold. Plug-ins are closed after the last
// thread that asks them has ended.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <vector>

namespace wk {

// What is to be converted, at most 4 GiB in each field.
struct conversion_request {
  std::string_view content;
  std::string_view first_text = {};  // what the two texts mean is between caller and plug-in
  std::string_view second_text = {};
};

struct conversion {
  std::string text;
  uint32_t type = 0;  // a code as content_class.h numbers them
};

// What one kind of plug-in can do. Any slot may be null: nothing is recognised or converted, and
// there is nothing to close.
struct content_plugin_ops {
  const char* name;
  uint8_t (*recognize_mime)(std::string_view mime_type, void* context);
  uint8_t (*recognize_content)(std::string_view content, void* context);
  uint8_t (*recognize_url)(std::string_view url, void* context);
  // Not 0 on success; on failure result is left alone.
  uint32_t (*convert)(const conversion_request& request, conversion& result, void* context);
  // Tells the plug-in to end, without a wait for it. All of a set hear it before the first is
  // closed, so that they end side by side.
  void (*begin_close)(void* context);
  void (*close)(void* context);  // frees the context
};

struct content_plugin {
  const content_plugin_ops* ops = nullptr;
  void* context = nullptr;
};

struct crawler_content_plugin {
  mutable std::shared_mutex lock;       // guards all below
  std::vector<content_plugin> plugins;  // in order of registration
  uint8_t certainty = 0;                // the threshold

  crawler_content_plugin() = default;
  ~crawler_content_plugin();  // closes what is open still
  crawler_content_plugin(const crawler_content_plugin&) = delete;
  crawler_content_plugin& operator=(const crawler_content_plugin&) = delete;
};

// Takes the context over, to be closed with the set.
void add_crawler_content_plugin(crawler_content_plugin& set, const content_plugin_ops& ops,
                                void* context);
[[nodiscard]] size_t count_crawler_content_plugin(const crawler_content_plugin& set);

void set_certainty_crawler_content_plugin(crawler_content_plugin& set, uint8_t certainty);
[[nodiscard]] uint8_t get_certainty_crawler_content_plugin(const crawler_content_plugin& set);

// Each asks the plug-in of that number, from 0; one that is not there gives 0.
[[nodiscard]] uint8_t recognize_mime_crawler_content_plugin(const crawler_content_plugin& set,
                                                            size_t number,
                                                            std::string_view mime_type);
[[nodiscard]] uint8_t recognize_content_crawler_content_plugin(const crawler_content_plugin& set,
                                                               size_t number,
                                                               std::string_view content);
[[nodiscard]] uint8_t recognize_url_crawler_content_plugin(const crawler_content_plugin& set,
                                                           size_t number, std::string_view url);
[[nodiscard]] uint32_t convert_crawler_content_plugin(const crawler_content_plugin& set,
                                                      size_t number,
                                                      const conversion_request& request,
                                                      conversion& result);

// Tells all plug-ins to end, closes them in order and takes them out of the set.
void close_crawler_content_plugin(crawler_content_plugin& set);

}  // namespace wk
