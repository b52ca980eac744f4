/** A byte array of its own memory, in the words of every version of TypeScript. */
export type Bytes = ReturnType<Uint8ArrayConstructor["of"]>;

/** Throws where the text is not Base64. */
export function bytesOfBase64(text: string): Bytes {
  const binary = atob(text);
  const bytes = new Uint8Array(binary.length);
  for (let i = 0; i < bytes.length; i++) bytes[i] = binary.charCodeAt(i);
  return bytes;
}
