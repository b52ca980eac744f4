// What the cameras see where there is no webcam: a bay with sailing boats in front of the rear
// camera, and a person in front of the front camera. Both move, and neither is its own mirror image.

export type Facing = "rear" | "front";

type Context = CanvasRenderingContext2D;

const hills = (context: Context, w: number, base: number, rise: number, phase: number) => {
  context.beginPath();
  context.moveTo(0, base);
  for (let x = 0; x <= w; x += w / 60) {
    const t = (x / w) * Math.PI * 2;
    context.lineTo(
      x,
      base - rise * (0.6 + 0.4 * Math.sin(t * 1.3 + phase) + 0.2 * Math.sin(t * 3.1 + phase)),
    );
  }
  context.lineTo(w, base);
  context.closePath();
  context.fill();
};

const boat = (context: Context, x: number, y: number, size: number, sail: string) => {
  context.fillStyle = "#5a3b2e";
  context.beginPath();
  context.moveTo(x - size, y);
  context.quadraticCurveTo(x, y + size * 0.6, x + size, y);
  context.closePath();
  context.fill();
  context.fillStyle = sail;
  context.beginPath();
  context.moveTo(x + size * 0.08, y - size * 0.1);
  context.lineTo(x + size * 0.08, y - size * 2);
  context.quadraticCurveTo(x + size * 1.1, y - size, x + size * 0.8, y - size * 0.1);
  context.closePath();
  context.fill();
  context.fillStyle = "#fff4e2";
  context.beginPath();
  context.moveTo(x - size * 0.04, y - size * 0.1);
  context.lineTo(x - size * 0.04, y - size * 1.7);
  context.lineTo(x - size * 0.7, y - size * 0.1);
  context.closePath();
  context.fill();
};

const drawBay = (context: Context, w: number, h: number, t: number) => {
  const horizon = h * 0.52;
  const sky = context.createLinearGradient(0, 0, 0, horizon);
  sky.addColorStop(0, "#3f7fa6");
  sky.addColorStop(0.6, "#9cc7cf");
  sky.addColorStop(1, "#f8dcae");
  context.fillStyle = sky;
  context.fillRect(0, 0, w, horizon);

  const sunX = w * 0.68;
  const sunY = horizon - h * (0.12 + 0.015 * Math.sin(t * 0.3));
  const glow = context.createRadialGradient(sunX, sunY, 0, sunX, sunY, w * 0.35);
  glow.addColorStop(0, "rgba(255,244,206,0.95)");
  glow.addColorStop(0.18, "rgba(255,228,160,0.75)");
  glow.addColorStop(1, "rgba(255,220,150,0)");
  context.fillStyle = glow;
  context.fillRect(0, 0, w, horizon);

  context.fillStyle = "rgba(255,255,255,0.78)";
  for (let i = 0; i < 4; i++) {
    const x = ((i * 0.31 + t * 0.008 * (1 + i * 0.2)) % 1.4) * w - w * 0.2;
    const y = h * (0.1 + 0.07 * i);
    for (const [dx, r] of [
      [0, 0.045],
      [0.05, 0.06],
      [0.11, 0.04],
      [0.15, 0.026],
    ] as const) {
      context.beginPath();
      context.ellipse(x + dx * w, y, r * w, r * w * 0.5, 0, 0, Math.PI * 2);
      context.fill();
    }
  }

  context.fillStyle = "#7b97a3";
  hills(context, w, horizon, h * 0.1, 0.4);
  context.fillStyle = "#5b7f7a";
  hills(context, w, horizon, h * 0.055, 2.2);

  const sea = context.createLinearGradient(0, horizon, 0, h);
  sea.addColorStop(0, "#8fc0bd");
  sea.addColorStop(0.35, "#3f8a92");
  sea.addColorStop(1, "#14505f");
  context.fillStyle = sea;
  context.fillRect(0, horizon, w, h - horizon);
  for (let i = 0; i < 34; i++) {
    const depth = i / 34;
    const y = horizon + (h - horizon) * depth * depth;
    const x = sunX + Math.sin(t * 1.1 + i * 1.7) * w * (0.02 + depth * 0.12);
    context.fillStyle = `rgba(255,236,190,${0.5 - depth * 0.4})`;
    context.fillRect(
      x - w * (0.02 + depth * 0.05),
      y,
      w * (0.05 + depth * 0.1),
      1 + depth * h * 0.006,
    );
  }
  const bob = (i: number) => Math.sin(t * 1.4 + i) * h * 0.003;
  boat(
    context,
    ((0.15 + t * 0.012) % 1.2) * w - w * 0.1,
    horizon + h * 0.06 + bob(0),
    w * 0.035,
    "#e2543d",
  );
  boat(
    context,
    ((0.85 + t * 0.02) % 1.3) * w - w * 0.15,
    horizon + h * 0.17 + bob(2),
    w * 0.075,
    "#f2b441",
  );

  // A pier in front, on the left only.
  context.fillStyle = "#3b2a22";
  context.fillRect(0, h * 0.86, w * 0.42, h * 0.022);
  for (const x of [0.05, 0.17, 0.29, 0.4]) context.fillRect(w * x, h * 0.86, w * 0.016, h * 0.14);
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

const drawPerson = (context: Context, w: number, h: number, t: number) => {
  const wall = context.createLinearGradient(0, 0, w, h);
  wall.addColorStop(0, "#f0d9c0");
  wall.addColorStop(1, "#d49f86");
  context.fillStyle = wall;
  context.fillRect(0, 0, w, h);
  context.fillStyle = "#5e7f74";
  context.fillRect(w * 0.06, h * 0.1, w * 0.26, h * 0.2);
  context.fillStyle = "#f6ead3";
  context.beginPath();
  context.arc(w * 0.16, h * 0.2, w * 0.055, 0, Math.PI * 2);
  context.fill();
  // A plant, on the right only.
  context.strokeStyle = "#3d6b4f";
  context.lineWidth = w * 0.014;
  for (let i = -2; i <= 2; i++) {
    context.beginPath();
    context.moveTo(w * 0.9, h * 0.8);
    context.quadraticCurveTo(
      w * (0.9 + i * 0.02),
      h * 0.6,
      w * (0.9 + i * 0.055) + Math.sin(t + i) * w * 0.008,
      h * 0.46,
    );
    context.stroke();
  }
  context.fillStyle = "#9c4a35";
  context.fillRect(w * 0.83, h * 0.78, w * 0.14, h * 0.22);

  const sway = Math.sin(t * 0.9) * w * 0.015;
  const x = w * 0.5 + sway;
  const y = h * 0.42 + Math.sin(t * 1.6) * h * 0.004;
  const r = w * 0.17;
  context.fillStyle = "#2f5d62";
  context.beginPath();
  context.moveTo(w * 0.16, h);
  context.quadraticCurveTo(w * 0.2, h * 0.66, x, h * 0.64);
  context.quadraticCurveTo(w * 0.8, h * 0.66, w * 0.84, h);
  context.closePath();
  context.fill();
  context.fillStyle = "#c98d68";
  context.fillRect(x - r * 0.36, y + r * 0.6, r * 0.72, r * 1.1);
  context.fillStyle = "#3a2a28";
  context.beginPath();
  context.ellipse(x, y - r * 0.1, r * 1.18, r * 1.32, 0, 0, Math.PI * 2);
  context.fill();
  context.fillStyle = "#dba37c";
  context.beginPath();
  context.ellipse(x, y + r * 0.08, r * 0.94, r * 1.12, 0, 0, Math.PI * 2);
  context.fill();
  // A parting on one side.
  context.fillStyle = "#3a2a28";
  context.beginPath();
  context.moveTo(x - r * 1.0, y - r * 0.35);
  context.quadraticCurveTo(x - r * 0.4, y - r * 0.35, x + r * 0.35, y - r * 0.95);
  context.quadraticCurveTo(x + r * 0.9, y - r * 0.6, x + r * 0.96, y - r * 0.2);
  context.lineTo(x + r * 0.9, y - r * 1.1);
  context.lineTo(x - r * 0.9, y - r * 1.1);
  context.closePath();
  context.fill();
  const blink = t % 3.7 < 0.14 ? 0.12 : 1;
  context.fillStyle = "#2a1f1d";
  for (const side of [-1, 1]) {
    context.beginPath();
    context.ellipse(
      x + side * r * 0.36,
      y + r * 0.05,
      r * 0.085,
      r * 0.11 * blink,
      0,
      0,
      Math.PI * 2,
    );
    context.fill();
  }
  context.strokeStyle = "#8c4a3c";
  context.lineWidth = r * 0.06;
  context.lineCap = "round";
  context.beginPath();
  context.arc(x, y + r * 0.42, r * 0.3, Math.PI * 0.15, Math.PI * (0.82 + 0.04 * Math.sin(t)));
  context.stroke();
  // A badge with a name, to be read the right way round in the picture.
  context.fillStyle = "#f6ead3";
  context.fillRect(w * 0.56, h * 0.8, w * 0.16, h * 0.06);
  context.fillStyle = "#2f5d62";
  context.font = `700 ${Math.round(h * 0.035)}px sans-serif`;
  context.textAlign = "center";
  context.textBaseline = "middle";
  context.fillText("HELLO", w * 0.64, h * 0.831, w * 0.14);
};

/** Draws what the camera sees at a time, in seconds. */
export function drawScene(context: Context, facing: Facing, seconds: number): void {
  const { width, height } = context.canvas;
  context.save();
  (facing === "front" ? drawPerson : drawBay)(context, width, height, seconds);
  context.restore();
}
