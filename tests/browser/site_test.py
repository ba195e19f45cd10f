"""The site of `./run docs`, which makes it first, opened from the disk: its search finds a word without a server."""

import unittest

from support import SOURCES, Browser, By, main, until

SITE = SOURCES / "build/site"

# The results of the search, as they are shown: titles and addresses.
RESULTS = """return [...document.querySelectorAll('.md-search-result__link')].map((link) => [link.innerText, link.href])"""


class Search(unittest.TestCase):
    def setUp(self):
        browser = Browser()
        self.addCleanup(browser.quit)
        self.driver = browser.driver
        self.driver.get((SITE / "index.html").as_uri())

    def test_finds_a_word_of_a_page_and_opens_the_page(self):
        self.driver.find_element(By.CSS_SELECTOR, "input.md-search__input").send_keys("sqm_host_wake_fd")
        until(lambda: self.driver.execute_script(RESULTS), "results")
        addresses = [address for _, address in self.driver.execute_script(RESULTS)]
        page = (SITE / "docs/c.html").as_uri()
        self.assertTrue([address for address in addresses if address.startswith(page)], addresses)

    def test_finds_nothing_for_a_word_that_no_page_has(self):
        self.driver.find_element(By.CSS_SELECTOR, "input.md-search__input").send_keys("sqmzzz")
        shown = "return document.querySelector('.md-search-result__meta').innerText"
        until(lambda: "No matching" in self.driver.execute_script(shown), "the message that nothing was found")
        self.assertEqual(self.driver.execute_script(RESULTS), [])


if __name__ == "__main__":
    main(__name__)
