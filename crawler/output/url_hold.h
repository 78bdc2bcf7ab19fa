// The document store of a crawl: one object that all spiders hand their documents to.
//
// A store has one of several kinds, each in a file of its own. store_document and store_headers
// take the store's write lock, so files and the pipeline see one document at a time. Nothing is
// stored once the crawl-wide quota is exceeded. A document that the disk or the pipeline refuses is
// not stored, leaves no half record, is said in the log, and counts as lost alone.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <vector>

#include "crawler/output/log.h"
#include "crawler/output/quota.h"

namespace wk {

// Type tags, as images hold them.
constexpr uint32_t T_FLATSITE_URL_HOLD_OBJ = 1945876;
constexpr uint32_t T_PIPELINE_URL_HOLD_OBJ = 98723451;
constexpr uint32_t T_NULL_URL_HOLD_OBJ = 12381278;
constexpr uint32_t T_COMPOSITE_URL_HOLD_OBJ = 8745613;

// One document. Views must outlive the call.
struct stored_document {
  std::string_view url;
  std::string_view type_name;      // "html", "xml", "raw"
  std::string_view title;          // may be empty
  std::string_view character_set;  // kept for kinds that want it
  int64_t date = 0;                // s since 1970; 0 or less when unknown
  std::string_view content;
};

struct stored_headers;  // header_record.h
struct fetch_settings;
struct url_hold;

// What one kind of store can do. Called with the store's write lock held.
struct url_hold_ops {
  uint32_t obj_type;
  void (*destroy)(url_hold* hold);  // frees the record, closes what it holds
  // 1 when stored. May be null: nothing is ever stored.
  int (*store_document)(url_hold& hold, const stored_document& document);
  // 1 when a header record was written. May be null: none ever is.
  int (*store_headers)(url_hold& hold, const stored_headers& exchange);
  // Goes on behind what an earlier crawl stored. May be null: nothing to go on with.
  void (*resume)(url_hold& hold);
  // Appends the kind's image behind the tag. May be null: the tag is all.
  void (*save)(const url_hold& hold, std::string& stream);
  // Cuts what save has written off the front of stream. May be null together with save.
  bool (*load)(url_hold& hold, std::string_view& stream);
};

struct url_hold {
  const url_hold_ops* ops = nullptr;
  // Documents that the kind accepted. Written under the lock; read without it, for the pipeline
  // keeps the lock while it waits for its peer.
  std::atomic<uint32_t> nb_stored{0};
  // Documents that an error kept out, counted by the kind; likewise. What the quota or a stop keeps
  // out is not lost, nor is what a store that keeps nothing is handed.
  std::atomic<uint32_t> nb_lost{0};
  mutable std::shared_mutex lock;  // guards the kind's own fields
};
struct destroy_url_hold {
  void operator()(url_hold* hold) const;
};
using url_hold_ptr = std::unique_ptr<url_hold, destroy_url_hold>;

// directory must exist. log receives errors and must outlive the store; null: standard error.
[[nodiscard]] url_hold_ptr create_flatsite_url_hold(const std::string& directory, Log* log);
// The store sends to host and port. fetch, which must outlive the store, tells the port that no
// connection goes to and what ends a wait; null: neither.
[[nodiscard]] url_hold_ptr create_pipeline_url_hold(const std::string& host, uint32_t port,
                                                    bool raw, Log* log,
                                                    const fetch_settings* fetch);
[[nodiscard]] url_hold_ptr create_null_url_hold();
[[nodiscard]] url_hold_ptr create_composite_url_hold(std::vector<url_hold_ptr> members);

// Limits of one store file; 0 or less sets none. A page limit of 1 gives each document a file of
// its own, without framing. Any other kind than flatsite: a failed condition.
void set_mb_quota_flatsite_url_hold(url_hold& hold, int32_t megabytes);
void set_page_quota_flatsite_url_hold(url_hold& hold, int32_t pages);

// Before the first document of a restored crawl: the next document goes behind those that are
// there.
void resume_url_hold(url_hold& hold);

// 1 when stored; then one page and its length are counted in crawl_quota. The megabyte test and the
// page test of crawl_quota come first.
int store_document_url_hold(url_hold& hold, const stored_document& document, quota& crawl_quota);
// 1 when a header record was written. No quota counts it.
int store_headers_url_hold(url_hold& hold, const stored_headers& exchange);
[[nodiscard]] uint32_t get_nb_stored_url_hold(const url_hold& hold);  // takes no lock
[[nodiscard]] uint32_t get_nb_lost_url_hold(const url_hold& hold);    // takes no lock
// Empty for other kinds.
[[nodiscard]] std::string get_directory_url_hold(const url_hold& hold);
void save_url_hold(const url_hold& hold, std::string& stream);
// Cuts a store's image off the front of stream and puts it into hold. False, and both are left
// alone, for bytes that are no image of a store of hold's kind.
[[nodiscard]] bool load_url_hold(std::string_view& stream, url_hold& hold);
// Cuts the image of a store of any kind off the front of stream. False, and stream is left alone,
// for other bytes.
[[nodiscard]] bool skip_url_hold_image(std::string_view& stream);

}  // namespace wk
