// The one function of Node that the package calls; its types are not asked of users.
declare module "node:fs/promises" {
  export function readFile(path: URL): Promise<Uint8Array<ArrayBuffer>>;
}
