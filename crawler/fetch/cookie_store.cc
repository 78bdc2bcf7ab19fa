#include "crawler/fetch/cookie_store.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "crawler/fetch/url_key.h"
#include "crawler/url/url_address.h"
#include "wkstd/text.h"

namespace wk {
namespace {

using group_entry = cookie_groups::value_type;

// Keys that the index is asked about for each byte of a URL, on the average. More than that is no
// gain over asking all keys.
constexpr size_t STEPS_PER_BYTE = 8;

cookie_key build_cookie_key(const cookie_store& store, std::string text) {
  cookie_key key;
  if (store.rules->strict_safety) {
    key.searched = build_url_key_text(text);
  } else {
    key.searched = text.starts_with('.') ? text.substr(1) : text;
  }
  key.text = std::move(text);
  return key;
}

size_t get_common_length(std::string_view a, std::string_view b) {
  const auto ends = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
  return static_cast<size_t>(ends.first - a.begin());
}

// One search of the index: what was found and what it may cost still.
struct index_search {
  std::vector<const group_entry*> found;
  size_t nb_steps_left = 0;
};

// Finds every group whose searched text is how text begins. False when the steps were used up.
//
// Such texts are not after text in the order, and those that are left begin the last one looked at:
// so when that one parts from text, only what both have in common is looked for further.
bool find_beginnings(index_search& search, const cookie_groups& groups, std::string_view text) {
  auto at = groups.upper_bound(text);
  while (at != groups.begin()) {
    --at;
    const std::string& searched = at->first.searched;
    const size_t common = get_common_length(searched, text);
    if (common == 0 && !searched.empty() && !groups.begin()->first.searched.empty()) return true;
    if (search.nb_steps_left == 0) return false;
    --search.nb_steps_left;
    if (common == searched.size()) {
      search.found.push_back(&*at);
    } else {
      text = text.substr(0, common);
      at = groups.upper_bound(text);
    }
  }
  return true;
}

void keep_each_once(std::vector<const group_entry*>& found) {
  std::sort(found.begin(), found.end());
  found.erase(std::unique(found.begin(), found.end()), found.end());
}

// Linear in both, whatever the bytes are.
bool does_text_hold(std::string_view text, std::string_view part) {
  return part.empty() || memmem(text.data(), text.size(), part.data(), part.size()) != nullptr;
}

// A searched text may begin at any byte of the URL.
std::vector<const group_entry*> find_groups_in(const cookie_groups& groups, std::string_view url) {
  index_search search;
  search.nb_steps_left = STEPS_PER_BYTE * (url.size() + 1);
  bool done = true;
  for (size_t i = 0; i <= url.size() && done; ++i) {
    done = find_beginnings(search, groups, url.substr(i));
  }
  if (!done) {
    search.found.clear();
    for (const group_entry& entry : groups) {
      if (does_text_hold(url, entry.first.searched)) search.found.push_back(&entry);
    }
  }
  keep_each_once(search.found);
  return std::move(search.found);
}

// A searched text begins at a label of the host. The text says too little of scheme and port, so
// that what it finds is asked again.
std::vector<const group_entry*> find_fitting_groups(const cookie_groups& groups,
                                                    const url_address& target) {
  std::string text = target.host;
  lower_text(text);
  text += target.path;
  index_search search;
  search.nb_steps_left = STEPS_PER_BYTE * (text.size() + 1);
  bool done = true;
  for (size_t i = 0; i < target.host.size() && done; ++i) {
    if (i > 0 && text[i - 1] != '.') continue;
    done = find_beginnings(search, groups, std::string_view(text).substr(i));
  }
  if (!done) {
    search.found.clear();
    for (const group_entry& entry : groups) search.found.push_back(&entry);
  }
  keep_each_once(search.found);
  std::erase_if(search.found, [&target](const group_entry* entry) {
    return !does_url_key_fit(entry->first.text, target);
  });
  return std::move(search.found);
}

void replace_cookie(cookie_store& store, uint64_t place, cookie given) {
  stored_cookie& stored = store.cookies.at(place);
  stored.value = std::move(given.value);
  stored.expiry = given.expiry;
  if (!given.is_preset || stored.is_preset) return;
  stored.is_preset = true;
  stored.group->second.places_from_responses.erase(place);
  store.places_from_responses.erase(place);
}

void hold_bounds(cookie_store& store, const cookie_group& group, std::vector<cookie>& removed) {
  const auto& of_key = group.places_from_responses;
  const auto& in_all = store.places_from_responses;
  if (of_key.size() > COOKIE_STORE_MAX_OF_KEY) {
    removed.push_back(take_cookie_store(store, *of_key.begin()));
  } else if (in_all.size() > COOKIE_STORE_MAX_IN_ALL) {
    removed.push_back(take_cookie_store(store, *in_all.begin()));
  }
}

}  // namespace

bool order_cookie_keys::operator()(const cookie_key& a, const cookie_key& b) const {
  const int order = a.searched.compare(b.searched);
  return order != 0 ? order < 0 : a.text < b.text;
}

bool order_cookie_keys::operator()(std::string_view searched, const cookie_key& key) const {
  return searched < key.searched;
}

void put_cookie_store(cookie_store& store, cookie given, std::vector<cookie>& removed) {
  const auto [at, is_first] =
      store.groups.try_emplace(build_cookie_key(store, std::move(given.key)));
  cookie_group& group = at->second;
  const auto known = group.places.find(given.name);
  if (known != group.places.end()) {
    replace_cookie(store, known->second, std::move(given));
    return;
  }
  const uint64_t place = store.next_place++;
  stored_cookie& stored = store.cookies[place];
  stored = {.group = at,
            .name = std::move(given.name),
            .value = std::move(given.value),
            .expiry = given.expiry,
            .is_preset = given.is_preset};
  group.places.emplace(stored.name, place);
  if (stored.is_preset) return;
  group.places_from_responses.insert(place);
  store.places_from_responses.insert(place);
  hold_bounds(store, group, removed);
}

cookie take_cookie_store(cookie_store& store, uint64_t place) {
  const auto at = store.cookies.find(place);
  cookie taken = build_cookie(at->second);
  const auto group = at->second.group;
  group->second.places.erase(at->second.name);
  group->second.places_from_responses.erase(place);
  if (group->second.places.empty()) store.groups.erase(group);
  store.places_from_responses.erase(place);
  store.cookies.erase(at);
  return taken;
}

std::vector<uint64_t> find_cookie_store(const cookie_store& store, std::string_view url) {
  std::vector<const group_entry*> found;
  if (!store.rules->strict_safety) {
    found = find_groups_in(store.groups, url);
  } else if (url_address target; split_url(target, url) != 0) {
    found = find_fitting_groups(store.groups, target);
  }
  std::vector<uint64_t> places;
  for (const group_entry* entry : found) {
    for (const auto& [name, place] : entry->second.places) places.push_back(place);
  }
  std::sort(places.begin(), places.end());
  return places;
}

cookie build_cookie(const stored_cookie& stored) {
  return {.key = stored.group->first.text,
          .name = stored.name,
          .value = stored.value,
          .expiry = stored.expiry,
          .is_preset = stored.is_preset};
}

void exchange_cookies(cookie_store& a, cookie_store& b) {
  a.cookies.swap(b.cookies);
  a.groups.swap(b.groups);
  a.places_from_responses.swap(b.places_from_responses);
  std::swap(a.next_place, b.next_place);
}

bool is_safe_cookie_text(std::string_view text) {
  constexpr std::string_view LINE_ENDS("\r\n\0", 3);
  return text.find_first_of(LINE_ENDS) == std::string_view::npos;
}

}  // namespace wk
