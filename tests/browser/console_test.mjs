// The administration as an operator uses it: in Chromium, over a running crawl.
//
// WK_ZCRAWLER is the program's path, WK_SCREENSHOTS the directory that pictures go to, and
// WK_OUTER_ADDRESS an address of this machine that is not loopback; a browser trusts it less.

import assert from "node:assert/strict";
import { existsSync, mkdirSync, readFileSync } from "node:fs";
import { join } from "node:path";
import { after, before, test } from "node:test";
import { chromium } from "playwright-core";
import { startCrawl, startSite, until } from "./crawl_place.mjs";

const QUIET = ["--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
  "--disable-background-networking", "--disable-component-update", "--disable-sync",
  "--host-resolver-rules=MAP crawl.test 127.0.0.1"];
const PICTURES = process.env.WK_SCREENSHOTS;
const OUTER = process.env.WK_OUTER_ADDRESS;
let browser;

before(async () => {
  mkdirSync(PICTURES, { recursive: true });
  browser = await chromium.launch({ executablePath: "/usr/bin/chromium", args: QUIET });
});
after(() => browser.close());

// A tree without an end, so that the crawl does not end by itself.
function answerNextPage(request, response) {
  const number = Number(request.url.slice(3)) || 0;
  if (request.url.startsWith("/gone")) response.statusCode = 404;
  const links = [1, 2, 3].map((i) => `<a href="/p/${3 * number + i}">next</a>`);
  if (number % 7 === 5) links.push(`<a href="/gone/${number}">gone</a>`);
  response.end(`<p>page ${request.url} ${"word ".repeat(number % 50)}</p>${links.join("")}`);
}

async function openCrawl(t, { answer = answerNextPage, elements = "", attributes, address } = {}) {
  const site = await startSite(answer);
  t.after(() => site.end());
  const crawl = await startCrawl(site, elements, attributes, address);
  t.after(() => crawl.end());
  const page = await browser.newPage({ viewport: { width: 1100, height: 900 } });
  t.after(() => page.close());
  return { site, crawl, page };
}

// Fills a form's fields, submits it and returns the result paragraph.
async function submit(page, crawl, path, fields) {
  await page.goto(`${crawl.url}/webadmin/${path}`);
  for (const [name, value] of Object.entries(fields)) {
    const field = page.locator(`[name=${name}]`);
    if (typeof value === "boolean") await field.setChecked(value);
    else await field.fill(value);
  }
  await page.locator("input[type=submit]").click();
  await page.waitForLoadState();
  return page.locator("p.Result").innerText();
}

test("every page and form answers", async (t) => {
  const { crawl, page } = await openCrawl(t);
  await page.goto(`${crawl.url}/webadmin/`);
  assert.equal(await page.locator("li a").count(), 24);
  await page.screenshot({ path: join(PICTURES, "index.png") });
  const forms = [
    ["AddExcludedUrl", { url: "http://no\\.example/" }, "Now excluding URLs like 'http://no\\.example/'."],
    ["AddExcludedExt", { ext: "zip" }, "Now excluding URLs with '.zip' extensions."],
    ["AddExcludedRegex", { regex: "(" }, "Failed to exclude URLs matching '.(' regular expressions."],
    ["SetDepthFirst", { depth_first: true }, "Enabled depth-first crawling."],
    ["AddCookie", { site: "127.0.0.1", path: "/", key: "k", data: "v" }, "Added a cookie for '127.0.0.1/'."],
    ["AddAuth", { site: "http://127.0.0.1/", user: "u", pass: "p" }, "Added a cookie for 'http://127.0.0.1/'."],
    ["SetHonorRobots", { honor: false }, "Set honor robots.txt to true."],
    ["SetQuota", { has_page_quota: true, page_quota: "900000" }, "Set quota."],
    ["SetUserAgent", { user_agent: "tester/1.0" }, "Set HTTP User-Agent to tester/1.0."],
    ["SetContentCertainty", { certainty: "300" }, "Set content certainty to 255"],
    ["ConfigureSpiders", { nb_retries: "2", timeout: "5000", retry_wait: "10" }, "Configured web spiders."],
  ];
  for (const [path, fields, result] of forms) {
    assert.equal(await submit(page, crawl, path, fields), result, path);
  }
  await page.goto(`${crawl.url}/webadmin/GetQuota`);
  assert.match(await page.locator("body").innerText(), /\d+ of 900000 pages/);
  await page.goto(`${crawl.url}/webadmin/GetStats`);
  assert.match(await page.locator("body").innerText(), /\d+ URLs in the URL Horizon/);
  await page.screenshot({ path: join(PICTURES, "statistics.png") });
});

test("a crawl is paused, resumed, given a URL, checkpointed and shut down", async (t) => {
  const { site, crawl, page } = await openCrawl(t);
  await page.goto(`${crawl.url}/webadmin/Pause`);
  await until(async () => (await (await fetch(`${crawl.url}/status.json`)).json()).spiders_paused === 2);
  const nbBefore = site.requests.length;
  for (let i = 0; i < 20; ++i) await page.goto(`${crawl.url}/webadmin/GetStats`);
  assert.equal(site.requests.length, nbBefore, "a paused crawl fetches nothing");
  await page.goto(`${crawl.url}/webadmin/Pause`);
  const next = site.next(() => true);
  await page.getByRole("link", { name: "here" }).click();
  await next;

  const added = site.next((url) => url === "/added");
  assert.equal(await submit(page, crawl, "AddUrl", { url: `${site.url}/added` }),
    `Added ${site.url}/added to the URL Horizon.`);
  await added;

  assert.equal(await submit(page, crawl, "Checkpoint", { filename: join(crawl.directory, "mine") }),
    "Checkpointed the crawler.");
  assert.ok(existsSync(join(crawl.directory, "mine", "ndue_mhash.txt")));

  await page.goto(`${crawl.url}/webadmin/Shutdown`);
  assert.equal(await page.locator("h2").innerText(), "The Crawler is Exiting...");
  assert.equal(await crawl.ended, 0, crawl.errors);
  assert.match(readFileSync(join(crawl.directory, "log"), "latin1"), /Crawler manually stopped\./);
});

test("the live page draws the crawl and says when it has ended", async (t) => {
  const { site, crawl, page } = await openCrawl(t, { elements: '<quota files="1000000"/>' });
  const faults = [];
  page.on("console", (message) => { if (message.type() === "error") faults.push(message.text()); });
  page.on("pageerror", (fault) => faults.push(String(fault)));
  const elsewhere = [];
  page.on("request", (request) => { if (!request.url().startsWith(crawl.url)) elsewhere.push(request.url()); });
  await page.goto(`${crawl.url}/live`);
  const line = page.locator("#rate-chart .line");
  await until(async () => (await line.count()) > 0 && (await line.getAttribute("d")).split("L").length > 4);
  assert.ok(await page.locator("#page-quota progress").isVisible());
  assert.equal(await page.locator("#state-text").innerText(), "Running");
  await page.screenshot({ path: join(PICTURES, "live.png"), fullPage: true });
  await page.emulateMedia({ colorScheme: "dark" });
  await page.setViewportSize({ width: 390, height: 844 });
  const width = await page.evaluate(() => document.documentElement.scrollWidth);
  assert.ok(width <= 390, `a telephone has to scroll sideways: ${width}`);
  await page.screenshot({ path: join(PICTURES, "live-telephone-dark.png"), fullPage: true });
  assert.deepEqual(faults, []);

  const plain = await browser.newPage({ javaScriptEnabled: false });
  await plain.goto(`${crawl.url}/live`);
  assert.ok(Number((await plain.locator("[data-figure=fetches]").innerText()).replace(/\D/g, "")) > 0);
  await plain.close();

  const shutdown = await browser.newPage();
  await shutdown.goto(`${crawl.url}/webadmin/Shutdown`);
  await page.getByText("The crawl has ended").waitFor();
  assert.deepEqual(elsewhere.filter((url) => !url.startsWith("data:")), []);
  assert.ok(site.requests.length > 0);
  await shutdown.close();
});

test("markup from crawled servers stays text", async (t) => {
  const markup = "<script>alert(1)</script><img src=x onerror=alert(2)>";
  const answer = (request, response) => {
    response.setHeader("Set-Cookie", `k"${markup}=${markup}; path=/`);
    response.write(`<a href='/"${markup}'>m</a>`);
    answerNextPage(request, response);
  };
  const { crawl, page } = await openCrawl(t, { answer });
  const dialogs = [];
  page.on("dialog", (dialog) => { dialogs.push(dialog.message()); void dialog.dismiss(); });
  await submit(page, crawl, "AddCookie", { site: markup, path: markup, key: markup, data: markup });
  const fields = { AddUrl: "url", AddExcludedUrl: "url", AddExcludedExt: "ext", AddExcludedRegex: "regex",
    SetUserAgent: "user_agent", Checkpoint: "filename" };
  for (const [path, name] of Object.entries(fields)) {
    await page.goto(`${crawl.url}/webadmin/${path}?${name}=${encodeURIComponent(`">${markup}`)}`);
    assert.equal(await page.locator("img, script").count(), 0, path);
  }
  for (const path of ["webadmin/GetCookies", "webadmin/GetAuths", "webadmin/SetUserAgent", "webadmin/Checkpoint",
    `webadmin/${encodeURIComponent(markup)}`, encodeURIComponent(markup), "live", "metrics", "status.json"]) {
    await page.goto(`${crawl.url}/${path}`);
    assert.equal(await page.locator("img, body > script:not([nonce])").count(), 0, path);
  }
  await page.goto(`${crawl.url}/webadmin/GetCookies`);
  assert.ok((await page.locator("table").innerText()).includes(markup), "it is shown, as text");
  assert.deepEqual(dialogs, []);
});

// How a page of another site makes a browser ask for url.
const TRICKS = {
  image: (url) => `<img src="${url}">`,
  form: (url) => `<form action="${url}"><input name="x"></form><script>document.forms[0].submit()</script>`,
  navigation: (url) => `<script>location = "${url}"</script>`,
  fetch: (url) => `<script>fetch("${url}", { mode: "no-cors" })</script>`,
  frame: (url) => `<iframe src="${url}"></iframe>`,
};
const LOOPBACK = ["127.0.0.1", "localhost", "crawl.test"];
const DISGUISED = ["0.0.0.0", "0", "[::ffff:127.0.0.1]"];

// Where the server listens, the names that others try, and those that the operator goes by.
const LISTENERS = [
  { address: "", tried: [...LOOPBACK, ...DISGUISED], own: LOOPBACK },
  { address: OUTER, tried: [OUTER], own: [OUTER] },
  { address: "0.0.0.0", tried: [OUTER, ...DISGUISED], own: [OUTER, "localhost"] },
];

for (const { address, tried, own } of LISTENERS) {
  const options = {
    answer: (_request, response) => response.end("<p>alone</p>"),
    attributes: `forever-mode="1" admin-hosts="crawl.test" admin-address="${address}"`,
    address: address === OUTER ? OUTER : "127.0.0.1",
  };
  const skip = address !== "" && OUTER === undefined ? "no network namespace could be made" : false;
  const isPaused = async (crawl) => (await (await fetch(`${crawl.url}/status.json`)).json()).paused === 1;

  test(`pages of other sites steer nothing, listening on "${address}"`, { skip }, async (t) => {
    const { crawl } = await openCrawl(t, options);
    const elsewhere = await startSite((request, response) => {
      const [, trick, name] = request.url.split("/");
      response.setHeader("Referrer-Policy", "no-referrer");
      response.end(TRICKS[trick]?.(`http://${name}:${crawl.port}/webadmin/Pause/${trick}${name}`));
    });
    t.after(() => elsewhere.end());
    const findAnswer = (target) => readFileSync(join(crawl.directory, "log"), "latin1")
      .split("\n").map((line) => line.split(" ")).find((words) => words[3] === target)?.[2];
    const answers = {};
    for (const name of tried) {
      for (const trick of Object.keys(TRICKS)) {
        const page = await browser.newPage();
        await page.goto(`${elsewhere.url}/${trick}/${name}`, { waitUntil: "commit" });
        // The log tells, for the browser hides from a page what comes of its images.
        const target = `/webadmin/Pause/${trick}${name}${trick === "form" ? "?x=" : ""}`;
        await until(() => findAnswer(target));
        answers[`${trick} ${name}`] = `${findAnswer(target)} ${(await isPaused(crawl)) ? "paused" : "runs"}`;
        await page.close();
        await fetch(`${crawl.url}/webadmin/Resume`);
      }
    }
    assert.deepEqual(Object.entries(answers).filter(([, answer]) => answer !== "403 runs"), []);
  });

  test(`the operator steers by clicks, listening on "${address}"`, { skip }, async (t) => {
    const { crawl, page } = await openCrawl(t, options);
    for (const name of own) {
      const url = `http://${name}:${crawl.port}`;
      const figures = page.waitForResponse(`${url}/status.json`);
      await page.goto(`${url}/live`);
      assert.equal((await figures).status(), 200, name);
      await page.getByRole("link", { name: "Pause" }).click();
      await page.waitForURL(`${url}/webadmin/Pause`);
      assert.ok(await isPaused(crawl), name);
      // A browser says of a typed address where it comes from only where it trusts the server.
      const trusted = name === "127.0.0.1" || name === "localhost";
      const typed = await page.goto(`${url}/webadmin/Resume`);
      assert.equal(typed.status(), trusted ? 200 : 403, name);
      await page.getByRole("link", { name: trusted ? "Index" : "list of pages" }).click();
      await page.getByRole("link", { name: "Resume a Paused Crawler" }).click();
      await page.waitForURL(`${url}/webadmin/Resume`);
      assert.ok(!(await isPaused(crawl)), name);
      await page.goto(`${url}/webadmin/SetUserAgent`);
      await page.locator("[name=user_agent]").fill(`by ${name}`);
      await page.locator("input[type=submit]").click();
      assert.equal(await page.locator("p.Result").innerText(), `Set HTTP User-Agent to by ${name}.`);
    }
  });
}
