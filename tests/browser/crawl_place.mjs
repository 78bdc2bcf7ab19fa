// A site to crawl and the real crawler crawling it, for one browser test.

import { spawn } from "node:child_process";
import { mkdtempSync, mkdirSync, rmSync, writeFileSync } from "node:fs";
import { createServer } from "node:http";
import { createServer as createPlainServer } from "node:net";
import { tmpdir } from "node:os";
import { join } from "node:path";

export async function until(holds) {
  while (!(await holds())) await new Promise((resolve) => setTimeout(resolve, 20));
}

// A server that gives every request to answer and tells who waits for it.
export async function startSite(answer) {
  const site = { requests: [], waiting: [] };
  site.server = createServer((request, response) => {
    site.requests.push(request.url);
    site.waiting = site.waiting.filter(({ matches, resolve }) => {
      if (matches(request.url)) resolve(request.url);
      return !matches(request.url);
    });
    response.setHeader("Content-Type", "text/html");
    answer(request, response);
  });
  await new Promise((resolve) => site.server.listen(0, "127.0.0.1", resolve));
  site.url = `http://127.0.0.1:${site.server.address().port}`;
  // The next request that matches; one that came before does not count.
  site.next = (matches) => new Promise((resolve) => site.waiting.push({ matches, resolve }));
  site.end = () => {
    site.server.closeAllConnections();
    site.server.close();
  };
  return site;
}

async function findFreePort() {
  const server = createPlainServer();
  await new Promise((resolve) => server.listen(0, "127.0.0.1", resolve));
  const { port } = server.address();
  await new Promise((resolve) => server.close(resolve));
  return port;
}

// Starts the crawler on site and returns when its administration answers, asked by address.
export async function startCrawl(site, elements, attributes = "", address = "127.0.0.1") {
  const directory = mkdtempSync(join(tmpdir(), "wk_browser_"));
  for (const name of ["store", "temp", "check"]) mkdirSync(join(directory, name));
  const port = await findFreePort();
  const profile = `<?xml version="1.0" encoding="utf-8"?>
<crawlers><crawler name="browser" nb-spiders="2" stop-when-empty="false" admin-port="${port}"
 admin-thread-sleep-time="200" ${attributes}>
<seed-urls><url name="${site.url}/"/></seed-urls>
<canonical-urls enable="1"/><frontier sleep_mode="0" sleep_interval="0"/><robot honor="false"/>
<checkpoint dir="${directory}/check" interval="0"/>
<store name="${directory}/store" temp_data_path="${directory}/temp"/>
<log name="${directory}/log"/>${elements}</crawler></crawlers>`;
  writeFileSync(join(directory, "crawl.xml"), profile);
  const crawler = spawn(process.env.WK_ZCRAWLER, ["-conf", join(directory, "crawl.xml")],
    { cwd: directory, stdio: ["ignore", "ignore", "pipe"] });
  const crawl = { directory, port, url: `http://${address}:${port}`, errors: "" };
  crawler.stderr.on("data", (bytes) => (crawl.errors += bytes));
  crawl.ended = new Promise((resolve) => crawler.on("exit", (status, signal) => resolve(status ?? signal)));
  crawl.end = () => {
    crawler.kill("SIGKILL");
    rmSync(directory, { recursive: true, force: true });
  };
  let gone = false;
  void crawl.ended.then(() => (gone = true));
  await until(async () => gone || (await fetch(`${crawl.url}/status.json`).then((r) => r.ok, () => false)));
  if (gone) throw new Error(`the crawler ended: ${crawl.errors}`);
  return crawl;
}
