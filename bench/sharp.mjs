// Runs workloads with sharp. It reads one a line, "SIDE QUALITY SOURCE RESULT", and answers with its
// milliseconds, without the writing of the result to its file, or with "no". sharp is looked for in
// the folder that SHARP_FOLDER names, else beside this script: `npm install sharp` puts it there.
import { createRequire } from 'node:module';
import { readFileSync, writeFileSync } from 'node:fs';
import { createInterface } from 'node:readline';
import path from 'node:path';

const folder = process.env.SHARP_FOLDER ?? path.dirname(new URL(import.meta.url).pathname);
let sharp;
try {
  sharp = createRequire(path.join(path.resolve(folder), 'here.js'))('sharp');
} catch {
  process.exit(1);
}
// Each workload is run afresh.
sharp.cache(false);
console.log(`${sharp.versions.sharp} (libvips ${sharp.versions.vips})`);

let source = { path: '', bytes: null };
for await (const line of createInterface({ input: process.stdin })) {
  const [side, quality, file, result] = line.split(' ');
  if (source.path !== file) source = { path: file, bytes: readFileSync(file) };
  try {
    const start = process.hrtime.bigint();
    let image = sharp(source.bytes, { limitInputPixels: false });
    if (quality !== '0') image = image.rotate();
    if (side !== '0') image = image.resize(+side, +side, { fit: 'inside' });
    image = quality === '0' ? image.png() : image.jpeg({ quality: +quality });
    const bytes = await image.toBuffer();
    const taken = Number(process.hrtime.bigint() - start) / 1e6;
    writeFileSync(result, bytes);
    console.log(taken.toFixed(3));
  } catch {
    console.log('no');
  }
}
