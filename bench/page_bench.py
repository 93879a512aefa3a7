"""How quick a page of the report is in the browser: /usr/bin/python3 bench/page_bench.py PAGE…

Load: from the address to the chart drawn with its data unpacked. Zoom frame: the script's work for one of 100 frames
on the way from the whole recording to a minute and back, then with all panels shown. Medians of five loads.
"""

import statistics
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tests/report/page"))
sys.dont_write_bytecode = True

from browser import start_browser  # noqa: E402

ROUNDS = 5

LOAD = """
const done = arguments[0];
report.started.then(() => requestAnimationFrame(() => setTimeout(() => done(performance.now()))));
"""

ZOOM = """
const [all, done] = arguments;
(async () => {
  for (const box of all ? document.querySelectorAll('#more input') : []) if (!box.checked) box.click();
  const { t0, t1, store } = report.page, full = t1 - t0, middle = t0 + full * 0.37;
  const times = [];
  for (let i = 0; i < 100; i++) {
    const span = full * (60 / full) ** (1 - Math.abs(i - 50) / 50);
    const begin = performance.now();
    report.show({ a: middle - span / 2, b: middle + span / 2 });
    report.drawNow();
    times.push(performance.now() - begin);
    while (store.waiting) await new Promise(resolve => setTimeout(resolve, 5));
    await new Promise(requestAnimationFrame);
  }
  done(times.sort((x, y) => x - y));
})();
"""


def measure(browser, page):
    loads, frames, full_frames = [], [], []
    for _ in range(ROUNDS):
        browser.get("about:blank")
        browser.get(page.resolve().as_uri())
        loads.append(browser.execute_async_script(LOAD))
        frames.append(browser.execute_async_script(ZOOM, False))
        full_frames.append(browser.execute_async_script(ZOOM, True))
    median = lambda values: statistics.median(values)
    return median(loads), *(
        median(times[i] for times in runs) for runs in (frames, full_frames) for i in (len(frames[0]) // 2, 95)
    )


def main():
    browser = start_browser()
    try:
        browser.execute_cdp_cmd(
            "Emulation.setDeviceMetricsOverride",
            {"width": 1440, "height": 900, "deviceScaleFactor": 1, "mobile": False},
        )
        print(
            "| page | kB | load ms | zoom frame ms, P50 | P95 | all panels, P50 | P95 |\n|---|---|---|---|---|---|---|"
        )
        for page in map(Path, sys.argv[1:]):
            figures = " | ".join(f"{value:.0f}" for value in measure(browser, page))
            print(f"| {page.name} | {page.stat().st_size / 1000:.0f} | {figures} |", flush=True)
    finally:
        browser.quit()


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    main()
