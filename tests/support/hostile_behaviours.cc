#include "tests/support/hostile_behaviours.h"

#include <string_view>

namespace wk {
namespace {

using namespace std::string_literals;
using site = const hostile_site;

constexpr size_t PAGE_BYTES = 9'000'000;  // nearly the most that is fetched
constexpr std::string_view OK = "HTTP/1.0 200 OK\r\nContent-Type: text/html\r\n";

constexpr const char* GRABBED = "Grabbed page (HTTP CODE 200)";
constexpr const char* REFUSED = "Didn't download (HTTP CODE 400)";
constexpr const char* TOO_SLOW = "Didn't download (HTTP CODE 408)";
constexpr const char* CUT_SHORT = "Didn't download (HTTP CODE 500)";
constexpr const char* MOVED_ON = "Didn't download (HTTP CODE 302)";
constexpr const char* NO_CODE = "Didn't download (NO HTTP CODE AVAILABLE)";
constexpr const char* ANYTHING = "";

std::string repeat(std::string_view piece, size_t count) {
  std::string text;
  text.reserve(piece.size() * count);
  while (count-- > 0) text += piece;
  return text;
}

std::string fill(std::string_view piece) { return repeat(piece, PAGE_BYTES / piece.size()); }

// Pieces with their number in place of the "#".
std::string number(std::string_view piece, uint32_t count) {
  const size_t at = piece.find('#');
  std::string text;
  for (uint32_t i = 0; i < count; ++i) {
    text.append(piece.substr(0, at)).append(std::to_string(i)).append(piece.substr(at + 1));
  }
  return text;
}

std::string noise(size_t nb_bytes) {
  std::string bytes(nb_bytes, 0);
  uint32_t state = 1;
  for (char& byte : bytes) byte = static_cast<char>((state = state * 1'103'515'245 + 12'345) >> 16);
  return bytes;
}

void give(site& s, scripted_answer answer, const char* path = "/x") {
  serve_answers_scripted_server(s.server, path, {std::move(answer)});
}
void raw(site& s, std::string bytes) { give(s, {.bytes = std::move(bytes)}); }
// These begin with a status line and a type; then comes the rest of the answer.
void ok(site& s, std::string_view rest) { raw(s, std::string(OK).append(rest)); }
void ok(site& s, scripted_answer_kind kind, std::string_view rest, uint64_t nb_drips = 0) {
  give(s, {kind, std::string(OK).append(rest), 1, nb_drips});
}
// A whole answer of some type; the path decides what the crawler takes it for.
void file(site& s, const char* path, const char* type, std::string_view body) {
  const std::string header = "Content-Type: "s + type + "\r\n";
  give(s, {.bytes = build_response_text(200, header, body)}, path);
}
// No two sites have the same text: what was seen before is not searched for links.
void page(site& s, std::string_view html) {
  file(s, "/x", "text/html", get_authority_scripted_server(s.server) + " " + std::string(html));
}
void feed(site& s, std::string_view items) {
  file(s, "/x", "application/rss+xml", "<?xml version=\"1.0\"?>" + std::string(items));
}
// A page that loads one script.
void script(site& s, scripted_answer answer) {
  page(s, "<script src=/s.js></script>");
  give(s, std::move(answer), "/s.js");
}
void moved(site& s, std::string_view location) {
  serve_redirect_scripted_server(s.server, "/x", location);
}
void robots(site& s, scripted_answer answer) {
  give(s, std::move(answer), "/robots.txt");
  page(s, "a page");
}
void robots_text(site& s, std::string_view text) { robots(s, build_page_answer(text)); }
void movie(site& s, std::string_view bytes) {
  file(s, "/x.swf", "application/x-shockwave-flash", bytes);
}
// The head of an FWS movie: version 5, any length, an empty frame rectangle, rate and count.
const std::string MOVIE = "FWS\5\x2A\0\0\0\0\0\1\1\0"s;

std::string self(site& s, const char* path) { return get_url_scripted_server(s.server, path); }

// A calendar: each day has the next one.
void serve_calendar(site& s) {
  serve_default_scripted_server(s.server, [](const recorded_request& asked) {
    const std::string day = std::to_string(asked.path.size());
    return build_page_answer("day " + day + " <a href='" + asked.path + "n'>next</a>").bytes;
  });
}

// The k-th hop leads to the next one; what lies behind the tenth is not worth the way.
void serve_chain(site& s) {
  moved(s, "/hop0");
  for (int i = 0; i < 30; ++i) {
    const std::string next = i < 29 ? "/hop" + std::to_string(i + 1) : "/never";
    serve_redirect_scripted_server(s.server, "/hop" + std::to_string(i), next);
  }
}

constexpr hostile_behaviour BEHAVIOURS[] = {
    // Transport.
    {"silent after accept", TOO_SLOW, [](site& s) { give(s, {.kind = ANSWER_STALL}); }},
    {"silent in the head", TOO_SLOW, [](site& s) { ok(s, ANSWER_STALL, "X: "); }},
    {"silent in the body", GRABBED,
     [](site& s) { ok(s, ANSWER_STALL, "\r\n" + repeat("a", 300)); }},
    {"script: hangs", GRABBED, [](site& s) { script(s, {.kind = ANSWER_STALL}); }},
    {"robots: silent", GRABBED, [](site& s) { robots(s, {.kind = ANSWER_STALL}); }},
    {"a close at once", TOO_SLOW, [](site& s) { raw(s, ""); }},
    {"a reset at once", ANYTHING, [](site& s) { give(s, {.kind = ANSWER_RESET}); }},
    {"a reset after the head", ANYTHING, [](site& s) { ok(s, ANSWER_RESET, "\r\n"); }},
    {"a reset in the body", ANYTHING,
     [](site& s) { ok(s, ANSWER_RESET, "Content-Length: 900000\r\n\r\n" + noise(9'000)); }},
    {"a close in the body", CUT_SHORT, [](site& s) { ok(s, "Content-Length: 9000\r\n\r\nshort"); }},
    {"a body byte by byte", GRABBED,
     [](site& s) { ok(s, ANSWER_DRIP, "Content-Length: 90\r\n\r\n", 90); }},
    {"a head byte by byte", TOO_SLOW, [](site& s) { ok(s, ANSWER_DRIP, "X: ", 200); }},
    {"a body without an end", REFUSED, [](site& s) { ok(s, ANSWER_ENDLESS_BODY, "\r\n"); }},
    {"an answer before the request", ANYTHING,
     [](site& s) { serve_greeting_scripted_server(s.server, build_page_answer("early").bytes); }},
    // Heads.
    {"no status line", NO_CODE, [](site& s) { raw(s, "Content-Type: text/html\r\n\r\nx"); }},
    {"a word for a status", NO_CODE, [](site& s) { raw(s, "HTTP/1.0 abc\r\n\r\nx"); }},
    {"a negative status", NO_CODE, [](site& s) { raw(s, "HTTP/1.0 -200 OK\r\n\r\nx"); }},
    {"a status beyond 32 bits", "Didn't download (HTTP CODE 2147483647)",
     [](site& s) { raw(s, "HTTP/1.0 99999999999999999999\r\n\r\nx"); }},
    {"a status before the real one", "Didn't download (HTTP CODE 100)",
     [](site& s) { raw(s, "HTTP/1.1 100 Continue\r\n\r\n" + build_page_answer("x").bytes); }},
    {"HTTP/0.9", TOO_SLOW, [](site& s) { raw(s, "<html>hello</html>"); }},
    {"noise for a head", ANYTHING, [](site& s) { raw(s, noise(300'000)); }},
    {"a head of one line of 10 MB", REFUSED,
     [](site& s) { ok(s, "X: " + fill("a") + "\r\n\r\nx"); }},
    {"a head of 100,000 lines", REFUSED,
     [](site& s) { ok(s, number("X-#: v\r\n", 100'000) + "\r\nx"); }},
    {"a head without an end", REFUSED, [](site& s) { ok(s, ANSWER_ENDLESS_HEAD, ""); }},
    {"a head that stops", TOO_SLOW, [](site& s) { ok(s, ""); }},
    {"NUL bytes in a head", GRABBED, [](site& s) { ok(s, "X\0Y: \0\0\r\n\0: \0\r\n\r\nx"s); }},
    {"folded and broken lines in a head", GRABBED,
     [](site& s) { ok(s, " folded\r\n\t:\r\n:\r\nno colon\r\n\r\nx"); }},
    {"carriage returns alone in a head", TOO_SLOW,
     [](site& s) { raw(s, "HTTP/1.0 200 OK\rContent-Type: text/html\r\rx"); }},
    {"lines put into Location and Set-Cookie", MOVED_ON,
     [](site& s) {
       moved(s, "/moved\rX-Evil: 1\r\nSet-Cookie: a=b\rX-Evil: 1\r\nSet-Cookie: c\vX-Evil=\1\2");
     }},
    {"900 cookies of 8 KB", REFUSED,
     [](site& s) {
       ok(s, number("Set-Cookie: c#=" + repeat("v", 8'000) + "\r\n", 900) + "\r\nx");
     }},
    // Lengths.
    {"length: negative", REFUSED, [](site& s) { ok(s, "Content-Length: -1\r\n\r\nx"); }},
    {"length: huge", REFUSED,
     [](site& s) { ok(s, "Content-Length: 99999999999999999999\r\n\r\nx"); }},
    {"length: round the 32 bits", REFUSED,
     [](site& s) { ok(s, "Content-Length: 4294967297\r\n\r\nx"); }},
    {"length: a word", REFUSED, [](site& s) { ok(s, "Content-Length: many\r\n\r\nx"); }},
    {"length: too long", CUT_SHORT, [](site& s) { ok(s, "Content-Length: 90\r\n\r\nx"); }},
    {"length: too short", GRABBED, [](site& s) { ok(s, "Content-Length: 3\r\n\r\nabcdefghi"); }},
    {"length: two different", GRABBED,
     [](site& s) { ok(s, "Content-Length: 9\r\nContent-Length: 3\r\n\r\nabc"); }},
    {"length: both it and chunked", GRABBED,
     [](site& s) { ok(s, "Content-Length: 2\r\nTransfer-Encoding: chunked\r\n\r\n9\r\nabc"); }},
    {"chunked: noise", GRABBED,
     [](site& s) { ok(s, "Transfer-Encoding: chunked\r\n\r\n" + noise(10'000)); }},
    {"chunked: huge", GRABBED,
     [](site& s) { ok(s, "Transfer-Encoding: chunked\r\n\r\nffffffffffffffffff\r\nx"); }},
    {"chunked: negative", GRABBED,
     [](site& s) { ok(s, "Transfer-Encoding: chunked\r\n\r\n-1\r\nx"); }},
    {"chunked: without an end", REFUSED,
     [](site& s) { ok(s, ANSWER_ENDLESS_BODY, "Transfer-Encoding: chunked\r\n\r\n1\r\n"); }},
    {"gzip that nobody asked for", GRABBED,
     [](site& s) { ok(s, "Content-Encoding: gzip\r\n\r\n\x1f\x8b\x08" + noise(5'000)); }},
    // Redirects.
    {"redirect: to itself", MOVED_ON, [](site& s) { moved(s, "/x"); }},
    {"redirect: round", MOVED_ON,
     [](site& s) {
       moved(s, "/y");
       serve_redirect_scripted_server(s.server, "/y", "/x");
     }},
    {"redirect: a chain of 30", MOVED_ON, serve_chain},
    {"redirect: to a file", MOVED_ON, [](site& s) { moved(s, "file:///etc/passwd"); }},
    {"redirect: to ftp", MOVED_ON, [](site& s) { moved(s, "ftp://" + s.closed + "/never"); }},
    {"redirect: to the administration", REFUSED,
     [](site& s) { moved(s, "http://" + s.admin + "/webadmin/Shutdown"); }},
    {"redirect: to 100 KB", MOVED_ON, [](site& s) { moved(s, "/" + repeat("never", 20'000)); }},
    {"redirect: to lines", MOVED_ON,
     [](site& s) { moved(s, "/a%0d%0aX-Evil:%201&#13;&#10;X-Evil: 1"); }},
    {"redirect: to nonsense", ANYTHING, [](site& s) { moved(s, "//////../..//:@@:::?#//"); }},
    {"redirect: to a script", MOVED_ON, [](site& s) { moved(s, "javascript:alert(1)"); }},
    {"redirect: to a closed port", REFUSED, [](site& s) { moved(s, "http://" + s.closed); }},
    {"redirect: to port 99999", REFUSED, [](site& s) { moved(s, "http://127.0.0.1:99999/"); }},
    {"redirect: to nowhere", "Didn't download (HTTP CODE 404)", [](site& s) { moved(s, ""); }},
    // Authentication.
    {"401 for ever", REFUSED,
     [](site& s) { raw(s, build_response_text(401, "WWW-Authenticate: Basic\r\n", "")); }},
    {"401 with a broken challenge", REFUSED,
     [](site& s) {
       raw(s, build_response_text(401, "WWW-Authenticate: \"" + noise(20'000) + "\r\n", ""));
     }},
    {"407 without a proxy", "Didn't download (HTTP CODE 407)",
     [](site& s) { raw(s, build_response_text(407, "Proxy-Authenticate: Basic\r\n", "")); }},
    // Robots files.
    {"robots: a redirect to itself", GRABBED,
     [](site& s) {
       robots(s, {.bytes = build_response_text(302, "Location: /robots.txt\r\n", "")});
     }},
    {"robots: 5 MB of comments", GRABBED,
     [](site& s) { robots_text(s, repeat("# no\n", 1'000'000)); }},
    {"robots: noise", GRABBED, [](site& s) { robots_text(s, noise(1'000'000)); }},
    {"robots: byte by byte", GRABBED,
     [](site& s) {
       robots(s, {ANSWER_DRIP, std::string(OK) + "\r\nDisallow: /", 1, 90});
     }},
    {"robots: a fault of the server", GRABBED,
     [](site& s) { robots(s, build_status_answer(500)); }},
    {"robots: one line of 9 MB", GRABBED, [](site& s) { robots_text(s, fill("Disallow: /")); }},
    {"robots: 100,000 rules", "is forbidden by the robots.txt",
     [](site& s) {
       robots_text(s, "User-agent: *\nDisallow: /\n" + number("Disallow: /#\n", 100'000));
     }},
    // Pages.
    {"page: a million links", GRABBED, [](site& s) { page(s, repeat("<a href=1>", 999'000)); }},
    {"page: half a million others", GRABBED,
     [](site& s) { page(s, number("<a href=out/#>", 480'000)); }},
    {"page: 9 MB of <", GRABBED, [](site& s) { page(s, fill("<")); }},
    {"page: 9 MB of <a", GRABBED, [](site& s) { page(s, fill("<a ")); }},
    {"page: tags 100,000 deep", GRABBED, [](site& s) { page(s, repeat("<div><p>", 100'000)); }},
    {"page: an open comment", GRABBED, [](site& s) { page(s, "<!--" + fill("<a href=1>-")); }},
    {"page: open comments", GRABBED, [](site& s) { page(s, fill("<!-- -- ")); }},
    {"page: an open script", GRABBED, [](site& s) { page(s, "<script>" + fill("'</scrip ")); }},
    {"page: an open value", GRABBED, [](site& s) { page(s, "<a href=\"" + fill("a b>")); }},
    {"page: open values", GRABBED, [](site& s) { page(s, fill("<a href='")); }},
    {"page: handlers", GRABBED, [](site& s) { page(s, "<a " + fill("onclick='a.htm\" ") + ">"); }},
    {"page: NUL bytes", GRABBED,
     [](site& s) { page(s, "\0<a href=a\0b>\0"s + std::string(1'000'000, '\0')); }},
    {"page: references", GRABBED,
     [](site& s) { page(s, "<a href=\"/" + fill("&amp;#38;&#x26;&nosuch;") + "\">"); }},
    {"page: one link of 1 MB", GRABBED,
     [](site& s) { page(s, "<a href=\"/never" + repeat("a", 1'000'000) + "\">"); }},
    {"page: 100,000 steps up", GRABBED,
     [](site& s) { page(s, "<a href=\"" + repeat("../", 100'000) + "up\">"); }},
    {"page: control bytes in links", GRABBED,
     [](site& s) {
       page(s,
            "<a href='/never\1\2'><a href='/never\r\nX-Evil: 1'><a href='/never&#13;&#10;X-Evil: "
            "1'>");
     }},
    {"page: a base of 1 MB", GRABBED,
     [](site& s) {
       page(s, "<base href=\"http://h/" + repeat("b", 1'000'000) + "/\">" +
                   number("<a href=#>", 9'000));
     }},
    {"page: a base that is no place", GRABBED,
     [](site& s) { page(s, "<base href='javascript:'><base href='file:///'><a href='after'>"); }},
    {"page: refreshes to itself", GRABBED,
     [](site& s) { page(s, "<meta http-equiv=\"refresh\" content=\"0;url=/x\"><a href=/x>"); }},
    {"page: a calendar", GRABBED, serve_calendar},
    {"page: colons and slashes", GRABBED, [](site& s) { page(s, fill("http://")); }},
    // Scripts.
    {"script: 1,000 of them", GRABBED,
     [](site& s) { page(s, number("<script src=/s#.js></script>", 1'000)); }},
    {"script: 9 MB of quotes", GRABBED,
     [](site& s) { script(s, {.bytes = build_response_text(200, "", fill("'\""))}); }},
    {"script: 9 MB of comments", GRABBED,
     [](site& s) { script(s, {.bytes = build_response_text(200, "", fill("/*/"))}); }},
    {"script: loads itself", GRABBED,
     [](site& s) {
       script(s, build_page_answer("document.write('<script src=/s.js></script>')"));
     }},
    {"script: moves", GRABBED,
     [](site& s) { script(s, {.bytes = build_response_text(302, "Location: /never\r\n", "")}); }},
    {"script: lies with the administration", GRABBED,
     [](site& s) {
       page(s, "<script src=\"http://" + s.admin + "/webadmin/Shutdown\"></script>");
     }},
    // Movies.
    {"movie: 80 MB of zeros", GRABBED,
     [](site& s) {
       const std::string_view two_kb_of_zeros =
           "\x05\xa3\x60\x14\x8c\x82\x51\x30\x0a\x46\xc1\x28\x18";
       movie(s, "CWS\5\xFF\xFF\xFF\xFF\x78\x9c\x63\x18"s + repeat(two_kb_of_zeros, 40'000));
     },
     "/x.swf"},
    {"movie: cut short", GRABBED, [](site& s) { movie(s, "CWS\5\xFF\xFF\xFF\xFF\x78\x9c"s); },
     "/x.swf"},
    {"movie: tags beyond its end", GRABBED,
     [](site& s) { movie(s, MOVIE + repeat("\x3F\3\xFF\xFF\xFF\xFF\x83\xFF\xFF/never"s, 9)); },
     "/x.swf"},
    {"movie: movies in a movie", GRABBED, [](site& s) { movie(s, repeat(MOVIE, 100'000)); },
     "/x.swf"},
    {"movie: half a million links", GRABBED,
     [](site& s) {
       movie(s, MOVIE + "\x3F\3\xFF\xFF\xFF\x7F"s + repeat("\x83\x07\0/out/\0\0"s, 500'000));
     },
     "/x.swf"},
    {"movie: constants pushed 9 MB long", GRABBED,
     [](site& s) {
       movie(s, MOVIE + "\x3F\3\xFF\xFF\xFF\x7F\x88\3\0\xFF\xFFx"s +
                    fill("\x96\2\0\x08\0\x9A\1\0\0"s));
     },
     "/x.swf"},
    // Feeds.
    {"feed: a billion laughs", GRABBED,
     [](site& s) {
       std::string text = "<!DOCTYPE r [<!ENTITY e0 \"never\">";
       for (int i = 1; i < 30; ++i) {
         const std::string before = std::to_string(i - 1);
         text += "<!ENTITY e" + std::to_string(i) + " \"" + repeat("&e" + before + ";", 10) + "\">";
       }
       feed(s, text + "]><rss><item><link>/&e29;</link></item></rss>");
     }},
    {"feed: entities of other places", GRABBED,
     [](site& s) {
       feed(s, "<!DOCTYPE rss SYSTEM \"" + self(s, "/never.dtd") + "\" [<!ENTITY f SYSTEM " +
                   "\"file:///etc/passwd\"><!ENTITY u SYSTEM \"" + self(s, "/never") +
                   "\"><!ENTITY % p SYSTEM \"" + self(s, "/never.p") + "\">%p;]><?xml-stylesheet " +
                   "href=\"" + self(s, "/never.xsl") + "\"?><rss xmlns:x=\"x\"><x:include href=\"" +
                   self(s, "/never.inc") + "\"/><item><link>/out/&f;&u;</link></item></rss>");
     }},
    {"feed: an open tag of 9 MB", GRABBED,
     [](site& s) { feed(s, "<rss><item a=\"" + fill("x>")); }},
    {"feed: 9 MB deep", GRABBED, [](site& s) { feed(s, "<rss>" + fill("<item><link>")); }},
    {"feed: a type without an end", GRABBED, [](site& s) { feed(s, fill("<!DOCTYPE [<!--")); }},
    {"feed: 100,000 items", GRABBED,
     [](site& s) {
       feed(s, "<rss>" + number("<item><link>/out/#</link></item>", 100'000) + "</rss>");
     }},
    {"feed: a broken encoding", GRABBED,
     [](site& s) {
       file(s, "/x", "application/rss+xml",
            "\xFF\xFE<?xml version=\"1.0\" encoding=\"UTF-7\"?><rss><item><link>\xC0\xAF\xF8\xFF" +
                noise(100'000) + "</link></item></rss>");
     }},
};

}  // namespace

std::span<const hostile_behaviour> get_hostile_behaviours() { return BEHAVIOURS; }

}  // namespace wk
