// NumPy's file format for one array of floats [rows, columns].

export function npy({ data, shape }) {
  const header = `{'descr': '<f4', 'fortran_order': False, 'shape': (${shape.join(", ")}), }`;
  // Magic, version and length are 10 bytes; all of it is padded to a multiple of 64.
  const padded = header.padEnd(Math.ceil((header.length + 11) / 64) * 64 - 11) + "\n";
  const bytes = new Uint8Array(10 + padded.length + data.byteLength);
  bytes.set([0x93, ...new TextEncoder().encode("NUMPY"), 1, 0, padded.length & 255, padded.length >> 8]);
  bytes.set(new TextEncoder().encode(padded), 10);
  const view = new DataView(bytes.buffer, 10 + padded.length);
  data.forEach((value, i) => view.setFloat32(4 * i, value, true));
  return bytes;
}
