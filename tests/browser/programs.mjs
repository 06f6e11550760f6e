// Where the built programs lie.

import {join} from 'node:path';
import {fileURLToPath} from 'node:url';

export const ROOT = fileURLToPath(new URL('../../', import.meta.url));

export const programPath = (name) => join(process.env.VEXATHUMB_BIN ?? join(ROOT, 'build/system/bin'), name);
