/**
 * In the page that is shown while nothing answers at the address of the developer's server: loads the
 * page anew as soon as something does.
 */
const interval = 700;

async function isThere(): Promise<boolean> {
  try {
    const response = await fetch("/.vecamera/upstream", { cache: "no-store" });
    return ((await response.json()) as { reachable?: boolean }).reachable !== false;
  } catch {
    // The simulator itself has ended.
    return false;
  }
}

async function wait(): Promise<void> {
  while (!(await isThere())) await new Promise((resolve) => setTimeout(resolve, interval));
  location.reload();
}

void wait();
