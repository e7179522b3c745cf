import js from '@eslint/js';
import globals from 'globals';

export default [
  js.configs.recommended,
  { files: ['page/**', 'tests/page/**'], languageOptions: { globals: globals.browser } },
  { files: ['tests/**', 'bench/**', 'server/**'], languageOptions: { globals: globals.node } },
];
