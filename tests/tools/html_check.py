#!/usr/bin/env python3
"""Checks a page written by `sigilo --html` against the XML report of the same run.

  html_check.py REPORT.xml PAGE.html [--chromium SCREENSHOT.png]

The verdicts of the report (the last "status" of every element that has one, in document order)
must be the page's verdict badges, in the same order. With --chromium, the page is also rendered
by headless Chromium: the screenshot must not be blank (it shows the green and the red of the
verdicts when the report has both) and the rendered page's text must hold every verdict.
Exits 0 when all holds, 1 with the reason otherwise.
"""
import subprocess
import sys
import xml.etree.ElementTree as ET
from html.parser import HTMLParser


def report_verdicts(path):
    verdicts = []
    for element in ET.parse(path).getroot().iter():
        statuses = element.findall("status")
        if statuses:
            verdicts.append(statuses[-1].text)
    return verdicts


class Badges(HTMLParser):
    """The texts of span.verdict elements, and every text of the page."""

    def __init__(self):
        super().__init__()
        self.badges = []
        self.text = []
        self._in_badge = False
        self.tags = []

    def handle_starttag(self, tag, attrs):
        self.tags.append(tag)
        classes = (dict(attrs).get("class") or "").split()
        if tag == "span" and "verdict" in classes:
            self._in_badge = True
            self.badges.append("")

    def handle_endtag(self, tag):
        if tag == "span":
            self._in_badge = False

    def handle_data(self, data):
        self.text.append(data)
        if self._in_badge:
            self.badges[-1] += data.strip()


def page_badges(html):
    parser = Badges()
    parser.feed(html)
    return parser


def fail(reason):
    print(reason)
    sys.exit(1)


def check_screenshot(png, verdicts):
    from PIL import Image

    image = Image.open(png).convert("RGB")
    colours = image.getcolors(maxcolors=1 << 20) or []
    if len(colours) < 8:
        fail(f"screenshot nearly blank: {len(colours)} colours")
    def has(rgb):
        return any(all(abs(c - t) <= 6 for c, t in zip(colour, rgb)) for _, colour in colours)
    if "OK" in verdicts and not has((0x1E, 0x8E, 0x3E)):
        fail("no green verdict on the screenshot")
    if "KO" in verdicts and not has((0xC5, 0x22, 0x1F)):
        fail("no red verdict on the screenshot")


def main():
    report, page = sys.argv[1], sys.argv[2]
    verdicts = report_verdicts(report)
    if not verdicts:
        fail("the report holds no verdict")
    with open(page, encoding="utf-8") as f:
        html = f.read()
    parsed = page_badges(html)
    if parsed.badges != verdicts:
        fail(f"page verdicts {parsed.badges} != report verdicts {verdicts}")
    if "script" in parsed.tags:
        fail("the page holds a script element")
    if len(sys.argv) > 4 and sys.argv[3] == "--chromium":
        png = sys.argv[4]
        common = ["chromium", "--headless", "--no-sandbox", "--disable-gpu",
                  "--disable-dev-shm-usage", "--hide-scrollbars", "--window-size=1000,3000"]
        url = "file://" + page
        subprocess.run(common + ["--screenshot=" + png, url], check=True, timeout=120,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        check_screenshot(png, verdicts)
        dom = subprocess.run(common + ["--dump-dom", url], check=True, timeout=120,
                             capture_output=True, text=True).stdout
        rendered = page_badges(dom)
        if rendered.badges != verdicts:
            fail(f"rendered verdicts {rendered.badges} != report verdicts {verdicts}")
    sys.exit(0)


if __name__ == "__main__":
    main()
