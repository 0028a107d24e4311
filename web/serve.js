// Serves web/dist on this machine alone.
// Usage: node web/serve.js [PORT]     prints the address; port 0 takes any that is free
import { createReadStream, statSync } from "node:fs";
import { createServer } from "node:http";
import { extname, join, normalize } from "node:path";
import { fileURLToPath, pathToFileURL } from "node:url";

const folder = fileURLToPath(new URL("dist/", import.meta.url));
const types = {
  ".html": "text/html; charset=utf-8", ".js": "text/javascript", ".css": "text/css", ".wasm": "application/wasm",
  ".json": "application/json", ".wav": "audio/wav",
};

/** Starts a server and resolves to it and its address. */
export function serve(port) {
  const server = createServer((request, response) => {
    const path = normalize(decodeURIComponent(new URL(request.url, "http://localhost").pathname));
    const file = join(folder, path.endsWith("/") ? `${path}index.html` : path);
    if (!statSync(file, { throwIfNoEntry: false })?.isFile()) return response.writeHead(404).end();
    response.writeHead(200, {
      "Content-Type": types[extname(file)] ?? "application/octet-stream", "Cache-Control": "no-cache",
      "Content-Security-Policy": "default-src 'self'; script-src 'self' 'wasm-unsafe-eval'; img-src 'self' data:",
    });
    createReadStream(file).pipe(response);
  });
  return new Promise((done, fail) => {
    server.once("error", fail);
    server.listen(port, "127.0.0.1", () => done({ server, address: `http://localhost:${server.address().port}/` }));
  });
}

if (import.meta.url === pathToFileURL(process.argv[1]).href) {
  const { address } = await serve(Number(process.argv[2] ?? 8000)).catch((error) => {
    if (error.code !== "EADDRINUSE") throw error;
    return serve(0);
  });
  console.log(address);
}
