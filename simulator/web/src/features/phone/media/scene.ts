// What the cameras see where there is no webcam: a bay with sailing boats in front of the rear
// camera, and a person in front of the front camera. Both move, and neither is its own mirror image.

export type Facing = "rear" | "front";

type Context = CanvasRenderingContext2D;
type Stops = readonly (readonly [number, string])[];
type Color = string | CanvasGradient;

/** Draws one part, at a time `t` in seconds, into a picture of that width and height. */
type Part = (context: Context, w: number, h: number, t: number) => void;

const shaded = (gradient: CanvasGradient, stops: Stops): CanvasGradient => {
  for (const [offset, color] of stops) gradient.addColorStop(offset, color);
  return gradient;
};

const box = (context: Context, color: Color, x: number, y: number, w: number, h: number) => {
  context.fillStyle = color;
  context.fillRect(x, y, w, h);
};

const shape = (context: Context, color: string, outline: () => void) => {
  context.fillStyle = color;
  context.beginPath();
  outline();
  context.closePath();
  context.fill();
};

const oval = (context: Context, color: string, x: number, y: number, rx: number, ry: number) =>
  shape(context, color, () => context.ellipse(x, y, rx, ry, 0, 0, Math.PI * 2));

const horizonOf = (h: number) => h * 0.52;
const sunXOf = (w: number) => w * 0.68;

const sky: Part = (context, w, h, t) => {
  const horizon = horizonOf(h);
  const air = shaded(context.createLinearGradient(0, 0, 0, horizon), [
    [0, "#3f7fa6"],
    [0.6, "#9cc7cf"],
    [1, "#f8dcae"],
  ]);
  box(context, air, 0, 0, w, horizon);
  const x = sunXOf(w);
  const y = horizon - h * (0.12 + 0.015 * Math.sin(t * 0.3));
  const glow = shaded(context.createRadialGradient(x, y, 0, x, y, w * 0.35), [
    [0, "rgba(255,244,206,0.95)"],
    [0.18, "rgba(255,228,160,0.75)"],
    [1, "rgba(255,220,150,0)"],
  ]);
  box(context, glow, 0, 0, w, horizon);
  for (let i = 0; i < 4; i++) {
    const cloudX = ((i * 0.31 + t * 0.008 * (1 + i * 0.2)) % 1.4) * w - w * 0.2;
    const cloudY = h * (0.1 + 0.07 * i);
    for (const [dx, r] of [
      [0, 0.045],
      [0.05, 0.06],
      [0.11, 0.04],
      [0.15, 0.026],
    ] as const)
      oval(context, "rgba(255,255,255,0.78)", cloudX + dx * w, cloudY, r * w, r * w * 0.5);
  }
};

const hills =
  (color: string, rise: number, phase: number): Part =>
  (context, w, h) =>
    shape(context, color, () => {
      const base = horizonOf(h);
      context.moveTo(0, base);
      for (let x = 0; x <= w; x += w / 60) {
        const a = (x / w) * Math.PI * 2;
        const height = 0.6 + 0.4 * Math.sin(a * 1.3 + phase) + 0.2 * Math.sin(a * 3.1 + phase);
        context.lineTo(x, base - h * rise * height);
      }
      context.lineTo(w, base);
    });

const sea: Part = (context, w, h, t) => {
  const horizon = horizonOf(h);
  const water = shaded(context.createLinearGradient(0, horizon, 0, h), [
    [0, "#8fc0bd"],
    [0.35, "#3f8a92"],
    [1, "#14505f"],
  ]);
  box(context, water, 0, horizon, w, h - horizon);
  for (let i = 0; i < 34; i++) {
    const depth = i / 34;
    const x = sunXOf(w) + Math.sin(t * 1.1 + i * 1.7) * w * (0.02 + depth * 0.12);
    box(
      context,
      `rgba(255,236,190,${0.5 - depth * 0.4})`,
      x - w * (0.02 + depth * 0.05),
      horizon + (h - horizon) * depth * depth,
      w * (0.05 + depth * 0.1),
      1 + depth * h * 0.006,
    );
  }
};

const boat = (context: Context, x: number, y: number, size: number, sail: string) => {
  shape(context, "#5a3b2e", () => {
    context.moveTo(x - size, y);
    context.quadraticCurveTo(x, y + size * 0.6, x + size, y);
  });
  shape(context, sail, () => {
    context.moveTo(x + size * 0.08, y - size * 0.1);
    context.lineTo(x + size * 0.08, y - size * 2);
    context.quadraticCurveTo(x + size * 1.1, y - size, x + size * 0.8, y - size * 0.1);
  });
  shape(context, "#fff4e2", () => {
    context.moveTo(x - size * 0.04, y - size * 0.1);
    context.lineTo(x - size * 0.04, y - size * 1.7);
    context.lineTo(x - size * 0.7, y - size * 0.1);
  });
};

const boats: Part = (context, w, h, t) => {
  const horizon = horizonOf(h);
  const bob = (i: number) => Math.sin(t * 1.4 + i) * h * 0.003;
  const far = ((0.15 + t * 0.012) % 1.2) * w - w * 0.1;
  const near = ((0.85 + t * 0.02) % 1.3) * w - w * 0.15;
  boat(context, far, horizon + h * 0.06 + bob(0), w * 0.035, "#e2543d");
  boat(context, near, horizon + h * 0.17 + bob(2), w * 0.075, "#f2b441");
};

/** On the left only. */
const pier: Part = (context, w, h) => {
  const wood = "#3b2a22";
  const y = h * 0.86;
  box(context, wood, 0, y, w * 0.42, h * 0.022);
  for (const x of [0.05, 0.17, 0.29, 0.4]) box(context, wood, w * x, y, w * 0.016, h * 0.14);
};

const gulls: Part = (context, w, h, t) => {
  context.strokeStyle = "rgba(35,45,55,0.8)";
  context.lineWidth = w * 0.005;
  for (let i = 0; i < 3; i++) {
    const x = ((0.2 + i * 0.13 + t * 0.03) % 1.2) * w - w * 0.1;
    const y = h * (0.24 + 0.03 * Math.sin(t + i * 2));
    const flap = w * 0.012 * Math.sin(t * 6 + i);
    context.beginPath();
    context.moveTo(x - w * 0.025, y - flap);
    context.quadraticCurveTo(x - w * 0.01, y - w * 0.008, x, y);
    context.quadraticCurveTo(x + w * 0.01, y - w * 0.008, x + w * 0.025, y - flap);
    context.stroke();
  }
};

const farHills = hills("#7b97a3", 0.1, 0.4);
const nearHills = hills("#5b7f7a", 0.055, 2.2);

const wall: Part = (context, w, h) => {
  const paint = shaded(context.createLinearGradient(0, 0, w, h), [
    [0, "#f0d9c0"],
    [1, "#d49f86"],
  ]);
  box(context, paint, 0, 0, w, h);
  box(context, "#5e7f74", w * 0.06, h * 0.1, w * 0.26, h * 0.2);
  oval(context, "#f6ead3", w * 0.16, h * 0.2, w * 0.055, w * 0.055);
};

/** On the right only. */
const plant: Part = (context, w, h, t) => {
  context.strokeStyle = "#3d6b4f";
  context.lineWidth = w * 0.014;
  for (let i = -2; i <= 2; i++) {
    const tip = w * (0.9 + i * 0.055) + Math.sin(t + i) * w * 0.008;
    context.beginPath();
    context.moveTo(w * 0.9, h * 0.8);
    context.quadraticCurveTo(w * (0.9 + i * 0.02), h * 0.6, tip, h * 0.46);
    context.stroke();
  }
  box(context, "#9c4a35", w * 0.83, h * 0.78, w * 0.14, h * 0.22);
};

const person: Part = (context, w, h, t) => {
  const x = w * 0.5 + Math.sin(t * 0.9) * w * 0.015;
  const y = h * 0.42 + Math.sin(t * 1.6) * h * 0.004;
  const r = w * 0.17;
  const hair = "#3a2a28";
  shape(context, "#2f5d62", () => {
    context.moveTo(w * 0.16, h);
    context.quadraticCurveTo(w * 0.2, h * 0.66, x, h * 0.64);
    context.quadraticCurveTo(w * 0.8, h * 0.66, w * 0.84, h);
  });
  box(context, "#c98d68", x - r * 0.36, y + r * 0.6, r * 0.72, r * 1.1);
  oval(context, hair, x, y - r * 0.1, r * 1.18, r * 1.32);
  oval(context, "#dba37c", x, y + r * 0.08, r * 0.94, r * 1.12);
  // A parting on one side.
  shape(context, hair, () => {
    context.moveTo(x - r * 1.0, y - r * 0.35);
    context.quadraticCurveTo(x - r * 0.4, y - r * 0.35, x + r * 0.35, y - r * 0.95);
    context.quadraticCurveTo(x + r * 0.9, y - r * 0.6, x + r * 0.96, y - r * 0.2);
    context.lineTo(x + r * 0.9, y - r * 1.1);
    context.lineTo(x - r * 0.9, y - r * 1.1);
  });
  const blink = t % 3.7 < 0.14 ? 0.12 : 1;
  for (const side of [-1, 1])
    oval(context, "#2a1f1d", x + side * r * 0.36, y + r * 0.05, r * 0.085, r * 0.11 * blink);
  context.strokeStyle = "#8c4a3c";
  context.lineWidth = r * 0.06;
  context.lineCap = "round";
  context.beginPath();
  context.arc(x, y + r * 0.42, r * 0.3, Math.PI * 0.15, Math.PI * (0.82 + 0.04 * Math.sin(t)));
  context.stroke();
};

/** With a name, which must not be mirrored in the picture. */
const badge: Part = (context, w, h) => {
  box(context, "#f6ead3", w * 0.56, h * 0.8, w * 0.16, h * 0.06);
  context.fillStyle = "#2f5d62";
  context.font = `700 ${Math.round(h * 0.035)}px sans-serif`;
  context.textAlign = "center";
  context.textBaseline = "middle";
  context.fillText("HELLO", w * 0.64, h * 0.831, w * 0.14);
};

const scenes: Record<Facing, Part[]> = {
  rear: [sky, farHills, nearHills, sea, boats, pier, gulls],
  front: [wall, plant, person, badge],
};

/** Draws what the camera sees at a time, in seconds. */
export function drawScene(context: Context, facing: Facing, seconds: number): void {
  const { width, height } = context.canvas;
  context.save();
  for (const part of scenes[facing]) part(context, width, height, seconds);
  context.restore();
}
