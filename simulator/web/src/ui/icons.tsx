// Line icons on a grid of 24.

const paths = {
  camera: "M4 8h3l2-3h6l2 3h3v11H4zM12 17a3.5 3.5 0 1 0 0-7 3.5 3.5 0 0 0 0 7z",
  photos: "M4 5h16v14H4zM4 16l5-5 4 4 3-2 4 4M15.5 9.5h.01",
  pin: "M12 21s7-6.2 7-11.5A7 7 0 0 0 5 9.500C5 14.8 12 21 12 21zM12 12a2.5 2.5 0 1 0 0-5 2.5 2.5 0 0 0 0 5z",
  flip: "M4 12a8 8 0 0 1 13.7-5.600L20 8.500M20 4v4.500h-4.500M20 12a8 8 0 0 1-13.7 5.600L4 15.500M4 20v-4.500h4.5",
  sun: "M12 16a4 4 0 1 0 0-8 4 4 0 0 0 0 8zM12 2v2.500M12 19.500V22M2 12h2.500M19.5 12H22M5 5l1.7 1.700M17.3 17.3 19 19M5 19l1.7-1.700M17.3 6.7 19 5",
  moon: "M20 14.500A8.5 8.5 0 0 1 9.5 4 8.5 8.5 0 1 0 20 14.500z",
  auto: "M12 21a9 9 0 1 0 0-18 9 9 0 0 0 0 18zM12 3v18M12 7h5M12 12h8M12 17h5",
  rotate: "M7 3h7v12H7zM18 9a7 7 0 0 1-7 11.500M11 20.500l2.5-2M11 20.500l2.5 1.8",
  help: "M9 9a3 3 0 1 1 4.5 2.600c-1 .6-1.5 1.2-1.5 2.400M12 17.500h.01M12 21.500a9.5 9.5 0 1 0 0-19 9.5 9.5 0 0 0 0 19z",
  play: "M7 4.500v15l12-7.500z",
  pause: "M8 5v14M16 5v14",
  next: "M6 5v14l9-7zM18.5 5v14",
  rewind: "M18 5v14l-9-7zM5.5 5v14",
  download: "M12 4v11M7.5 11 12 15.5 16.5 11M5 20h14",
  upload: "M12 16V5M7.5 9 12 4.5 16.5 9M5 20h14",
  trash: "M5 7h14M10 4h4M7 7l1 13h8l1-13M10.5 11v5M13.5 11v5",
  back: "M14.5 5 8 12l6.5 7",
  chevron: "M9 5l7 7-7 7",
  close: "M6 6l12 12M18 6 6 18",
  check: "M5 12.5 10 17.5 19.5 7",
  warning: "M12 8v5M12 16.500h.01M10.5 4 2.5 18.500a1.5 1.5 0 0 0 1.4 2h16.200a1.5 1.5 0 0 0 1.4-2L13.5 4a1.7 1.7 0 0 0-3 0z",
  open: "M14 4h6v6M20 4l-9 9M18 14v6H4V6h6",
  file: "M6 3h8l4 4v14H6zM14 3v4h4",
  gear: "M4 7h9M17 7h3M4 12h3M11 12h9M4 17h11M19 17h1M15 9a2 2 0 1 0 0-4 2 2 0 0 0 0 4zM9 14a2 2 0 1 0 0-4 2 2 0 0 0 0 4zM17 19a2 2 0 1 0 0-4 2 2 0 0 0 0 4z",
} as const;

export type IconName = keyof typeof paths;

export function Icon({ name, size = 20 }: { name: IconName; size?: number }) {
  return (
    <svg
      class="icon"
      width={size}
      height={size}
      viewBox="0 0 24 24"
      fill={name === "play" ? "currentColor" : "none"}
      stroke="currentColor"
      stroke-width="1.8"
      stroke-linecap="round"
      stroke-linejoin="round"
      aria-hidden="true"
      focusable="false"
    >
      <path d={paths[name]} />
    </svg>
  );
}
