"""The page of `zandrel evaluate --report` in a headless Chromium.

Usage: report_test.py ZANDREL SHOP_FOLDER CHROMIUM CHROMEDRIVER
"""

import html.parser
import json
import pathlib
import random
import re
import subprocess
import sys
import tempfile
import unittest

from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys

from browser import Browser

ZANDREL, SHOP, CHROMIUM, CHROMEDRIVER = sys.argv[1:5]

CATEGORIES = 151
LARGE_TEXTS = 20_000
MEGABYTE = 1_000_000

# Names and texts that would end an element, begin a comment, close the data, hide text or turn its
# direction around, if the page did not escape them.
HOSTILE_NAMES = ['<img src=x onerror="window.broken=1">', "</script><script>window.broken=2</script>"]
HOSTILE_TEXTS = [
    b"<script>window.broken=3</script> refund",
    b"]]></script><!-- \xe2\x80\xa8 refund",
    b"\" onmouseover=\"window.broken=4\" x='",
    b"bell \x07 escape \x1b[31m invalid \xff\xfe\xc3 end",
    "turned \u202e around \u2066 and \u200f hidden".encode(),
    b"{{title}} ${1} `x` \\u003c &lt; &amp;",
    b"word " * 2000,
]

browser = None
folder = None


def run(*arguments):
    done = subprocess.run([ZANDREL, *map(str, arguments)], capture_output=True, check=False)
    if done.returncode != 0:
        raise AssertionError(f"{arguments}: status {done.returncode}: {done.stderr.decode()}")
    return done.stdout.decode()


def write_large_data():
    """Texts of 151 categories whose words overlap, so that there are many confusions."""
    choice = random.Random(7)
    words = ["".join(choice.choices("abcdefghijklmnoprstuvw", k=6)) for _ in range(4000)]
    own = [choice.sample(words, 25) for _ in range(CATEGORIES)]

    def lines(count):
        for index in range(count):
            category = index % CATEGORIES
            near = own[(category + 1) % CATEGORIES]
            text = choice.choices(own[category], k=5) + choice.choices(near, k=4)
            text += choice.choices(words, k=16)
            choice.shuffle(text)
            yield f"category_{category:03}\t{' '.join(text)}\n"

    (folder / "large.train.tsv").write_text("".join(lines(1510)))
    (folder / "large.test.tsv").write_text("".join(lines(LARGE_TEXTS)))


def write_hostile_data():
    lines = []
    for index, text in enumerate(HOSTILE_TEXTS * 2):
        name = HOSTILE_NAMES[index % len(HOSTILE_NAMES)].encode()
        lines.append(name.replace(b",", b";") + b"\t" + text + b"\n")
    (folder / "hostile.tsv").write_bytes(b"".join(lines))


def setUpModule():
    global browser, folder
    keeper = tempfile.TemporaryDirectory()
    unittest.addModuleCleanup(keeper.cleanup)
    folder = pathlib.Path(keeper.name)
    shop = pathlib.Path(SHOP)
    run("train", folder / "shop.kc", shop / "shop.train.tsv")
    run("evaluate", folder / "shop.kc", shop / "shop.test.tsv", "--report", folder / "shop.html")
    run("evaluate", "--train", shop / "desk.train.jsonl", "--test", shop / "desk.test.jsonl",
        "--tree", shop / "desk.tree", "--report", folder / "desk.html")
    run("evaluate", "--cv", 3, shop / "shop.test.tsv", "--report", folder / "folds.html")
    run("evaluate", "--train", shop / "shop.train.tsv", "--test", shop / "shop.test.tsv",
        "--calibrate", "--want-precision", 0.9, "--report", folder / "calibrated.html")
    run("evaluate", "--train", shop / "shop.train.tsv", "--test", shop / "shop.test.tsv",
        "--calibrate", "--reject", 1, "--report", folder / "rejected.html")
    write_hostile_data()
    run("evaluate", "--train", folder / "hostile.tsv", "--test", folder / "hostile.tsv",
        "--report", folder / "hostile.html")
    write_large_data()
    run("evaluate", "--train", folder / "large.train.tsv", "--test", folder / "large.test.tsv",
        "--report", folder / "large.html", "--jobs", 2)
    browser = Browser(CHROMIUM, CHROMEDRIVER)
    unittest.addModuleCleanup(browser.close)


def open_page(name, **options):
    browser.open(folder / f"{name}.html", **options)


class Elements(html.parser.HTMLParser):
    """The source of a page, without a browser."""

    def __init__(self, text):
        super().__init__()
        self.tags = []
        self.attributes = []
        self.feed(text)

    def handle_starttag(self, tag, attrs):
        self.tags.append(tag)
        self.attributes.extend(attrs)


class Content(unittest.TestCase):
    """The page agrees with the other forms of the report."""

    @classmethod
    def setUpClass(cls):
        shop = pathlib.Path(SHOP)
        cls.json = json.loads(run("evaluate", folder / "shop.kc", shop / "shop.test.tsv", "--json",
                                  "--confusions", 1000))

    def setUp(self):
        open_page("shop")

    def rows(self, table):
        return browser.run(
            "return [...document.querySelectorAll(arguments[0] + ' tbody tr')]"
            ".map(row => [...row.cells].map(cell => cell.textContent.replaceAll('\\u00a0', ' ')))", table)

    def test_figures_are_those_of_json(self):
        values = {row[0]: row[1] for row in self.rows("#figures")}
        for name, member in [("Accuracy", "accuracy"), ("Macro F1", "macro_f1_top"),
                             ("Micro F1 at 0.50", "micro_f1"), ("Macro recall at 0.50", "macro_recall")]:
            self.assertEqual(values[name], f"{100 * self.json[member]:.1f} %", name)
        for name, member in [("Calibration error of the score", "ece_top"), ("Brier score", "brier")]:
            self.assertEqual(values[name], f"{self.json[member]:.4f}", name)

    def test_every_figure_has_an_interval_and_the_number_of_texts(self):
        for name, _, interval, texts, _ in self.rows("#figures"):
            self.assertRegex(interval, r"^\d.* to \d", name)
            self.assertEqual(texts, str(self.json["test"]["texts"]), name)
        for card in browser.find_all(".card"):
            self.assertRegex(card.text, r" to .*\n239 texts")

    def test_categories_are_those_of_json(self):
        rows = {row[0]: row for row in self.rows("#category-table")}
        self.assertEqual(set(rows), {each["category"] for each in self.json["categories"]})
        for each in self.json["categories"]:
            row = rows[each["category"]]
            self.assertEqual(row[4], str(each["texts"]))
            self.assertEqual(row[7], f"{100 * each['f1']:.1f} %")

    def test_confusions_are_those_of_json(self):
        rows = [(row[0], row[1], int(row[2])) for row in self.rows("#confusion-table")]
        self.assertEqual(sorted(rows), sorted(
            (each["expected"], each["got"], each["texts"]) for each in self.json["confusions"]))
        self.assertEqual([row[2] for row in rows], sorted((row[2] for row in rows), reverse=True))

    def test_matrix_contains_each_text_once(self):
        cells = browser.run("return report.cells")
        self.assertEqual(sum(cell[2] for cell in cells), 239)
        right = sum(cell[2] for cell in cells if cell[0] == cell[1])
        self.assertEqual(right, self.json["correct"])

    def test_order_of_neighbours_has_each_category_once(self):
        self.assertEqual(sorted(browser.run("return report.similarity")), list(range(8)))

    def test_worst_mistakes_are_sorted_by_score_and_have_coloured_words(self):
        scores = [float(re.search(r"Score ([\d.]+)", text).group(1)) for text in browser.run(
            "return [...document.querySelectorAll('.mistake > small')].map(e => e.textContent)")]
        self.assertEqual(len(scores), 40)
        self.assertEqual(scores, sorted(scores, reverse=True))
        marked = browser.run(
            "return [...document.querySelectorAll('.mistake')]"
            ".filter(e => e.querySelector('.w3, .r3')).length")
        self.assertEqual(marked, 40)

    def test_page_is_the_same_in_every_run(self):
        run("evaluate", folder / "shop.kc", pathlib.Path(SHOP) / "shop.test.tsv", "--report",
            folder / "again.html", "--jobs", 2)
        self.assertEqual((folder / "again.html").read_bytes(), (folder / "shop.html").read_bytes())

    def test_calibration_is_shown_before_and_after(self):
        open_page("calibrated")
        shop = pathlib.Path(SHOP)
        wanted = json.loads(run("evaluate", "--train", shop / "shop.train.tsv", "--test",
                                shop / "shop.test.tsv", "--calibrate", "--json"))
        values = {row[0]: row[1] for row in self.rows("#figures")}
        self.assertEqual(values["Calibration error of the score"], f"{wanted['ece_top']:.4f}")
        self.assertIn("Calibration error of the confidence", values)
        for name in ("score", "confidence"):
            bins = browser.run("return report.calibration.find(c => c.name === arguments[0]).bins", name)
            self.assertEqual(sum(each[4] for each in bins), 239)
            self.assertEqual(len(browser.find_all(f"#reliability-{name} circle")), len(bins))
        self.assertIn("a confidence of at least", browser.text(".hints"))

    def test_folds_have_mean_and_deviation(self):
        open_page("folds")
        self.assertIn("3 folds", browser.text("#fold-table caption"))
        self.assertEqual(len(self.rows("#fold-table")), 11)

    def test_tree_has_the_nodes_of_the_given_tree(self):
        open_page("desk")
        names = browser.run("return [...document.querySelectorAll('.tree b')].map(e => e.textContent)")
        wanted = [line.split("\t")[0] for line in run("tree", "show", self.desk()).splitlines()]
        self.assertEqual(len(names), len(wanted))

    def desk(self):
        shop = pathlib.Path(SHOP)
        if not (folder / "desk.kc").exists():
            run("train", folder / "desk.kc", shop / "desk.train.jsonl", "--tree", shop / "desk.tree")
        return folder / "desk.kc"


class Use(unittest.TestCase):
    """Sorting, filtering, clicking and keys."""

    def setUp(self):
        open_page("shop")

    def values(self, column):
        return browser.run(
            "return [...document.getElementById('category-table').tBodies[0].rows]"
            ".map(row => valueOf(row, arguments[0]))", column)

    def test_click_on_a_heading_sorts_and_says_so(self):
        heads = browser.find_all("#category-table thead th")
        for column in range(len(heads)):
            button = heads[column].find_element("css selector", "button")
            # The names are sorted already, so the first click reverses them.
            falls = column == 0 or "number" in heads[column].get_attribute("class")
            for reverse in (falls, not falls):
                button.click()
                self.assertEqual(self.values(column), sorted(self.values(column), reverse=reverse))
                self.assertEqual(heads[column].get_attribute("aria-sort"),
                                 "descending" if reverse else "ascending")
            others = [head for head in heads if head != heads[column]]
            self.assertEqual([head.get_attribute("aria-sort") for head in others], [None] * len(others))

    def test_filter_shows_the_categories_that_contain_the_text(self):
        field = browser.find("#category-filter")
        field.send_keys("PR")
        shown = browser.run("return [...document.querySelectorAll('#category-table tbody tr')]"
                            ".filter(r => !r.hidden).map(r => r.cells[0].textContent)")
        self.assertEqual(shown, ["praise", "product_question"])
        self.assertEqual(browser.text("#category-count"), "2 of 8 categories")
        field.send_keys(Keys.BACKSPACE, Keys.BACKSPACE)
        self.assertEqual(browser.text("#category-count"), "8 categories")

    def test_click_on_a_confusion_lists_its_texts(self):
        row = browser.find("#confusion-table tbody tr")
        label, answer, texts = [cell.text for cell in row.find_elements("css selector", "th, td")][:3]
        row.find_element("css selector", "button").click()
        self.assertEqual(browser.text("#cell-title"), f"Label {label}, answer {answer}")
        self.assertEqual(len(browser.find_all("#cell ol li")), int(texts))

    def test_click_on_a_cell_lists_its_texts(self):
        box = browser.find("#matrix")
        browser.run("arguments[0].scrollIntoView({block: 'center'})", box)
        bounds, row, column = browser.run("""
            const cell = [...matrix.cells.values()].find(c => c.row !== c.column && c.texts === 3);
            const box = document.getElementById('matrix').getBoundingClientRect();
            const svg = document.querySelector('#matrix svg').getBoundingClientRect();
            const x = svg.x + matrix.left + (matrix.place[cell.column] + 0.5) * matrix.size;
            const y = svg.y + matrix.top + (matrix.place[cell.row] + 0.5) * matrix.size;
            return [[x - box.x - box.width / 2, y - box.y - box.height / 2],
                    matrix.names[cell.row], matrix.names[cell.column]]""")
        ActionChains(browser.driver).move_to_element_with_offset(
            box, round(bounds[0]), round(bounds[1])).click().perform()
        self.assertEqual(browser.text("#cell-title"), f"Label {row}, answer {column}")
        self.assertEqual(len(browser.find_all("#cell ol li")), 3)

    def test_click_on_a_category_lists_its_answers(self):
        browser.find("#category-table tbody th button").click()
        self.assertEqual(browser.text("#cell-title"), "Answers for account")
        browser.find("#cell ul button").click()
        self.assertEqual(browser.text("#cell-title"), "account, answered right")

    def test_keys_move_through_the_matrix(self):
        box = browser.find("#matrix")
        browser.run("arguments[0].focus()", box)
        place = lambda: browser.run("return [matrix.row, matrix.column]")
        for key in [Keys.HOME] + [Keys.ARROW_UP] * 8:
            box.send_keys(key)
        self.assertEqual(place(), [0, 0])
        box.send_keys(Keys.ARROW_DOWN, Keys.ARROW_RIGHT, Keys.ARROW_RIGHT, Keys.ARROW_LEFT)
        self.assertEqual(place(), [1, 1])
        box.send_keys(Keys.END, Keys.ARROW_RIGHT)
        self.assertEqual(place(), [1, 7])
        label, answer = browser.run("return [matrix.names[labelOfRow()], matrix.names[labelOfColumn()]]")
        self.assertIn(f"Label {label}, answer {answer}: ", browser.text("#readout"))

    def test_page_down_goes_to_the_next_confusion(self):
        box = browser.find("#matrix")
        browser.run("moveTo(matrix.place[report.labels.indexOf('payment')], 0); arguments[0].focus()", box)
        box.send_keys(Keys.PAGE_DOWN)
        self.assertTrue(browser.run(
            "const c = cellAt(labelOfRow(), labelOfColumn()); return c && c.row !== c.column"))

    def test_enter_lists_texts_and_escape_returns(self):
        box = browser.find("#matrix")
        browser.run("arguments[0].focus()", box)
        box.send_keys(Keys.ENTER)
        self.assertEqual(browser.run("return document.activeElement.id"), "cell-title")
        browser.press(Keys.ESCAPE)
        self.assertEqual(browser.run("return document.activeElement.id"), "matrix")

    def test_escape_returns_to_the_opener_after_two_steps(self):
        opener = browser.find("#category-table tbody th button")
        opener.click()
        browser.find("#cell ul button").click()
        browser.press(Keys.ESCAPE)
        self.assertEqual(browser.driver.switch_to.active_element, opener)

    def test_list_of_a_confusion_moves_the_cursor(self):
        buttons = browser.find_all("#confusion-table tbody button")
        for button in (buttons[-1], buttons[0]):
            # The head of the table covers a row that is scrolled to the top.
            browser.run("arguments[0].scrollIntoView({block: 'center'})", button)
            button.click()
            title = browser.text("#cell-title")
            self.assertEqual(browser.text("#readout").split(":")[0], title)

    def test_list_can_have_the_focus(self):
        self.assertEqual(browser.find("#cell .list").get_attribute("tabindex"), "0")

    def test_matrix_is_sorted_by_the_chosen_order(self):
        order = lambda: browser.run("return matrix.order.map(i => matrix.names[i])")
        chosen = browser.find("#matrix-order")
        chosen.send_keys("by name")
        self.assertEqual(order(), sorted(order()))
        sizes = browser.run("setOrder('size'); return matrix.order.map(textsOfRow)")
        self.assertEqual(sizes, sorted(sizes, reverse=True))
        errors = browser.run("setOrder('errors'); return matrix.order.map(errorsOf)")
        self.assertEqual(errors, sorted(errors, reverse=True))

    def test_words_are_coloured_by_the_chosen_effect(self):
        for mode, effect in [("both", "w.dataset.w - w.dataset.r"), ("wrong", "w.dataset.w - 0"),
                             ("right", "-w.dataset.r")]:
            browser.find(f"#word-mode input[value={mode}]").click()
            agree = browser.run(
                "return [...document.querySelectorAll('.mistake .text span')].every(w => {"
                f"const e = {effect}; return w.className === '' || (w.className[0] === 'w') === (e > 0)}})")
            self.assertTrue(agree, mode)

    def test_every_control_is_reached_with_the_tab_key(self):
        open_page("shop")
        wanted = browser.run(
            "return [...document.querySelectorAll('#categories button, #categories input, #matrix,"
            "#matrix-order, #tree summary')].filter(e => e.checkVisibility()).length")
        reached = set()
        for _ in range(250):
            browser.press(Keys.TAB)
            name = browser.run(
                "const e = document.activeElement; return e.closest('#categories button, #categories input,"
                "#matrix, #matrix-order, #tree summary') ? [...document.querySelectorAll('*')].indexOf(e) : -1")
            if name >= 0:
                reached.add(name)
        self.assertEqual(len(reached), wanted)


class Form(unittest.TestCase):
    """Widths, colours, print, and what assistive programs need."""

    PAGES = ["shop", "desk", "folds", "calibrated", "rejected", "hostile", "large"]

    def test_console_is_empty_and_nothing_is_requested(self):
        browser.console()
        browser.requests()
        for page in self.PAGES:
            open_page(page)
            self.assertEqual(browser.console(), [], page)
            others = [url for url in browser.requests() if not url.startswith(("file:", "data:"))]
            self.assertEqual(others, [], page)
            self.assertEqual(browser.run("return performance.getEntriesByType('resource').length"), 0)

    def test_policy_forbids_scripts_that_are_added(self):
        open_page("shop")
        browser.run("const s = document.createElement('script'); s.textContent = 'window.added = 1';"
                    "document.body.append(s)")
        self.assertIsNone(browser.run("return window.added"))
        self.assertIn("Content Security Policy", browser.console()[0]["message"])

    def test_page_has_no_horizontal_scroll_bar(self):
        for page in self.PAGES:
            for width in (320, 768, 1280):
                open_page(page, width=width)
                self.assertLessEqual(browser.run("return document.documentElement.scrollWidth"), width,
                                     f"{page} at {width}")

    def test_ids_are_unique_and_references_lead_to_them(self):
        for page in self.PAGES:
            open_page(page)
            ids = browser.run("return [...document.querySelectorAll('[id]')].map(e => e.id)")
            self.assertEqual(len(ids), len(set(ids)), page)
            references = browser.run(
                "return ['aria-labelledby', 'aria-describedby', 'for'].flatMap(a =>"
                "[...document.querySelectorAll(`[${a}]`)].flatMap(e => e.getAttribute(a).split(' ')))"
                ".concat([...document.querySelectorAll('a[href^=\"#\"]')].map(e => e.hash.slice(1)))")
            self.assertLessEqual(set(references), set(ids), page)

    def test_each_control_and_figure_has_a_name(self):
        for page in self.PAGES:
            open_page(page)
            nameless = browser.run("""
                const named = e => e.getAttribute('aria-label') || e.getAttribute('aria-labelledby') ||
                    e.textContent.trim() || (e.labels && e.labels.length > 0);
                return [...document.querySelectorAll('svg')].filter(e =>
                        e.getAttribute('aria-hidden') !== 'true' && !e.querySelector('title'))
                    .concat([...document.querySelectorAll('button, a, summary, input, select, [role]')]
                        .filter(e => !named(e)))
                    .map(e => e.outerHTML.slice(0, 80))""")
            self.assertEqual(nameless, [], page)

    def test_headings_and_tables_are_in_order(self):
        for page in self.PAGES:
            open_page(page)
            levels = browser.run(
                "return [...document.querySelectorAll('h1, h2, h3')].map(e => Number(e.tagName[1]))")
            self.assertEqual(levels[0], 1)
            self.assertEqual(levels.count(1), 1)
            for before, after in zip(levels, levels[1:]):
                self.assertLessEqual(after, before + 1)
            self.assertEqual(browser.run("return [...document.querySelectorAll('table')].filter(t =>"
                                         "!t.caption || ![...t.tHead.rows[0].cells].every(c => c.scope)).length"), 0)
            self.assertEqual(browser.run("return ['main', 'nav', 'header', 'footer'].map(n =>"
                                         "document.querySelectorAll(n).length)"), [1, 1, 1, 1])
            self.assertEqual(browser.run("return document.documentElement.lang"), "en")

    def test_text_has_enough_contrast(self):
        """4.5 to 1, as the Web Content Accessibility Guidelines want for small text."""
        for dark in (False, True):
            open_page("shop", dark=dark)
            low = browser.run("""
                const parts = c => c.match(/[\\d.]+/g).map(Number);
                const light = c => {
                    const [r, g, b] = parts(c).slice(0, 3).map(v => v / 255)
                        .map(v => v <= 0.04045 ? v / 12.92 : ((v + 0.055) / 1.055) ** 2.4);
                    return 0.2126 * r + 0.7152 * g + 0.0722 * b;
                };
                const behind = e => {
                    for (; e; e = e.parentElement) {
                        const c = getComputedStyle(e).backgroundColor;
                        const p = parts(c);
                        if (p.length < 4 || p[3] > 0) return c;
                    }
                };
                return [...document.querySelectorAll('body *')].filter(e =>
                    e.checkVisibility() && !e.closest('svg') &&
                    [...e.childNodes].some(n => n.nodeType === 3 && n.data.trim())).map(e => {
                        const one = light(getComputedStyle(e).color), other = light(behind(e));
                        const ratio = (Math.max(one, other) + 0.05) / (Math.min(one, other) + 0.05);
                        return [e.outerHTML.slice(0, 60), ratio];
                    }).filter(([, ratio]) => ratio < 4.5)""")
            self.assertEqual(low, [], "dark" if dark else "light")

    def test_numbers_in_cells_have_enough_contrast(self):
        """A row with two cells, for all shares of the first one."""
        for dark in (False, True):
            open_page("shop", dark=dark)
            ratios = browser.run("""
                const parts = c => c.match(/[\\d.]+/g).map(Number).slice(0, 3);
                const light = c => {
                    const [r, g, b] = c.map(v => v / 255)
                        .map(v => v <= 0.04045 ? v / 12.92 : ((v + 0.055) / 1.055) ** 2.4);
                    return 0.2126 * r + 0.7152 * g + 0.0722 * b;
                };
                const fill = selector => getComputedStyle(document.querySelector(selector));
                const ratios = [];
                for (let texts = 1; texts < 100; ++texts) {
                    matrix.rows = matrix.names.map(() => []);
                    matrix.rows[0] = [{row: 0, column: 0, texts}, {row: 0, column: 1, texts: 100 - texts}];
                    drawMatrix();
                    const numbers = [...document.querySelectorAll('#matrix text.inside')];
                    ['right', 'wrong'].forEach((name, index) => {
                        const style = fill(`#matrix path.${name}`), behind = parts(fill('#matrix .behind').fill);
                        const opacity = Number(style.fillOpacity);
                        const mixed = parts(style.fill).map((v, i) => opacity * v + (1 - opacity) * behind[i]);
                        const one = light(parts(getComputedStyle(numbers[index]).fill)), other = light(mixed);
                        ratios.push((Math.max(one, other) + 0.05) / (Math.min(one, other) + 0.05));
                    });
                }
                return ratios;""")
            self.assertEqual(len(ratios), 198)
            self.assertGreaterEqual(min(ratios), 4.5, "dark" if dark else "light")

    def test_table_of_answered_shares_is_not_cut(self):
        for width in (768, 1000, 1100, 1280, 1400):
            open_page("shop", width=width)
            self.assertTrue(browser.run("const box = document.querySelector('#answered .scroll');"
                                        "return box.scrollWidth <= box.clientWidth"), width)

    def test_dark_mode_has_a_dark_page(self):
        brightness = []
        for dark in (False, True):
            open_page("shop", dark=dark)
            color = browser.run("return getComputedStyle(document.documentElement).backgroundColor")
            brightness.append(sum(map(int, re.findall(r"\d+", color)[:3])))
        self.assertGreater(brightness[0], 3 * 220)
        self.assertLess(brightness[1], 3 * 40)

    def test_print_opens_everything_and_leaves_controls_out(self):
        open_page("shop", dark=True)
        closed = browser.run("return document.querySelectorAll('details:not([open])').length")
        self.assertGreater(closed, 0)
        browser.run("""window.seen = {};
            addEventListener('beforeprint', () => {
                seen.closed = document.querySelectorAll('details:not([open])').length;
            });""")
        document = browser.printed()
        self.assertEqual(browser.run("return window.seen.closed"), 0)
        self.assertEqual(browser.run("return document.querySelectorAll('details:not([open])').length"),
                         closed)
        self.assertGreaterEqual(document.count(b"/Type /Page\n") + document.count(b"/Type /Page "), 4)
        browser.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": "print"})
        hidden = browser.run(
            "return [...document.querySelectorAll('nav, .controls, #cell, #readout')]"
            ".filter(e => e.checkVisibility()).length")
        background = browser.run("return getComputedStyle(document.querySelector('.card')).backgroundColor")
        overflow = browser.run("return [...document.querySelectorAll('.scroll')]"
                               ".every(e => getComputedStyle(e).overflowX === 'visible')")
        browser.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": ""})
        self.assertEqual(hidden, 0)
        self.assertEqual(background, "rgb(255, 255, 255)")
        self.assertTrue(overflow)

    def test_page_without_script_has_the_tables(self):
        source = (folder / "shop.html").read_text()
        self.assertIn("product_question", source[:source.index("report-data")])
        browser.driver.execute_cdp_cmd("Emulation.setScriptExecutionDisabled", {"value": True})
        try:
            open_page("shop")
            self.assertFalse(browser.find("#matrix").is_displayed())
            self.assertFalse(browser.find("#answered figure").is_displayed())
            self.assertNotIn("The curve", browser.find("#answered").text)
            self.assertEqual(len(browser.find_all("#category-table tbody tr")), 8)
            self.assertGreater(len(browser.find_all("#confusion-table tbody tr")), 10)
            self.assertIn("%", browser.find(".card").text)
        finally:
            browser.driver.execute_cdp_cmd("Emulation.setScriptExecutionDisabled", {"value": False})


class Hostile(unittest.TestCase):
    """Texts and names are shown as text, whatever they contain."""

    def setUp(self):
        open_page("hostile")

    def test_hostile_texts_do_not_become_markup(self):
        self.assertIsNone(browser.run("return window.broken"))
        elements = Elements((folder / "hostile.html").read_text())
        self.assertEqual(elements.tags.count("script"), 2)
        self.assertEqual(elements.tags.count("img"), 0)
        self.assertEqual([name for name, _ in elements.attributes if name.startswith("on")], [])

    def test_hostile_names_are_shown(self):
        names = browser.run(
            "return [...document.querySelectorAll('#category-table tbody th')].map(e => e.textContent)")
        self.assertEqual(sorted(names), sorted(HOSTILE_NAMES))

    def test_all_texts_are_shown_in_lists(self):
        browser.run("""
            for (const cell of report.cells) listCell(cell[0], cell[1], null);
        """)
        self.assertIsNone(browser.run("return window.broken"))
        texts = browser.run("return report.samples.map(s => s[0])")
        self.assertIn("<script>window.broken=3</script> refund", texts)
        self.assertIn("{{title}} ${1} `x` \\u003c &lt; &amp;", texts)
        self.assertTrue(any(r"\x07" in text and r"\xFF" in text for text in texts))
        self.assertFalse(any(character in text for text in texts for character in "\u202e\u2066\x1b\x07"))
        self.assertLessEqual(max(len(text) for text in texts), 301)


class Large(unittest.TestCase):
    """151 categories and 20,000 texts."""

    def test_file_is_small_and_opens_at_once(self):
        size = (folder / "large.html").stat().st_size
        self.assertLess(size, 5 * MEGABYTE)
        # CPU time, since other programs on the machine do not make it longer.
        browser.driver.execute_cdp_cmd("Performance.enable", {"timeDomain": "threadTicks"})
        work, ready = [], []
        for _ in range(3):
            open_page("large")
            metrics = browser.driver.execute_cdp_cmd("Performance.getMetrics", {})["metrics"]
            work.append({each["name"]: each["value"] for each in metrics}["TaskDuration"])
            ready.append(browser.run(
                "return performance.getEntriesByType('navigation')[0].domContentLoadedEventEnd"))
        browser.driver.execute_cdp_cmd("Performance.disable", {})
        print(f"{size / MEGABYTE:.2f} MB, ready after {min(ready):.0f} ms, {1000 * min(work):.0f} ms CPU")
        self.assertLess(min(work), 1)

    def test_matrix_has_all_categories(self):
        open_page("large")
        self.assertEqual(browser.run("return [report.labels.length, columnCount()]"), [CATEGORIES, CATEGORIES])
        self.assertEqual(browser.run("return report.cells.reduce((sum, cell) => sum + cell[2], 0)"), LARGE_TEXTS)

    def test_page_says_what_it_leaves_out(self):
        open_page("large")
        shown = browser.run("return report.samples.length")
        self.assertLess(shown, LARGE_TEXTS)
        self.assertIn(f"{shown:,} of 20,000 texts", browser.text("footer"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
