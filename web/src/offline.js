// Keeps the page's files for the next visit without a network; with one, what the server has is newer.
importScripts("files.js"); // FILES, written by the build
const NAME = "kelvo-audio";

async function answer(request) {
  const kept = await caches.open(NAME);
  try {
    const response = await fetch(request);
    if (response.ok) await kept.put(request, response.clone());
    return response;
  } catch (error) {
    const found = await kept.match(request);
    if (found === undefined) throw error;
    return found;
  }
}

addEventListener("install", (event) => {
  event.waitUntil(caches.open(NAME).then((kept) => kept.addAll(FILES)).then(() => self.skipWaiting()));
});
addEventListener("activate", (event) => event.waitUntil(self.clients.claim()));
addEventListener("fetch", (event) => {
  if (event.request.method === "GET" && new URL(event.request.url).origin === location.origin) event.respondWith(answer(event.request));
});
