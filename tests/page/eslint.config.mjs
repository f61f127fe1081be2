// Beyond what eslint recommends: what would bring text from the wire into the page as markup.

import js from "@eslint/js";
import globals from "globals";

const MARKUP = "Text becomes markup: make elements with dom.js.";

export default [
  js.configs.recommended,
  {
    files: ["**/site/*.js"],
    languageOptions: { globals: globals.browser },
    rules: {
      "no-restricted-properties": [
        "error",
        { property: "innerHTML", message: MARKUP },
        { property: "outerHTML", message: MARKUP },
        { property: "insertAdjacentHTML", message: MARKUP },
        { object: "document", property: "write", message: MARKUP },
      ],
    },
  },
  { files: ["**/*.mjs"], languageOptions: { globals: { ...globals.node, ...globals.browser } } },
  {
    rules: {
      curly: ["error", "multi-line"],
      eqeqeq: "error",
      "no-eval": "error",
      "no-implied-eval": "error",
      "no-new-func": "error",
      "no-shadow": "error",
      "no-var": "error",
      "prefer-const": "error",
    },
  },
];
