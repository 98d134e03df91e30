"""How Sphinx makes the site; scripts/site puts this beside the pages."""
from pygments.lexers.special import TextLexer

project = "Trelvik"
author = "Trelvik"
root_doc = "README"
extensions = ["myst_parser"]
source_suffix = {".md": "markdown"}
myst_heading_anchors = 4  # the links of the documents name headings as the usual viewers do
myst_enable_extensions = []
suppress_warnings = ["myst.header"]  # a page may begin with a comment
highlight_language = "none"
smartquotes = False  # texts stand as the daemon writes them
html_theme = "alabaster"
html_theme_options = {"page_width": "1180px", "sidebar_width": "260px", "font_family": "sans-serif",
                      "show_powered_by": False, "fixed_sidebar": False}
html_extra_path = ["extra"]
html_css_files = ["site.css"]
html_static_path = ["static"]
html_use_index = False
html_copy_source = False
html_show_copyright = False


def setup(app):
    app.add_lexer("sim", TextLexer)  # the examples of scenarios
