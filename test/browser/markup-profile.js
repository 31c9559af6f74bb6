// Writes a daemon simulator profile in which every text the daemon hands out carries markup:
// each string answer, and the message of every event-log record, becomes a script element, an
// image with an error handler, quotes and an ampersand. A report built from it must show all of
// it as text and run none of it.
//   node markup-profile.js <base profile> > markup.json
'use strict';
const fs = require('fs');

// Each piece sets window.__injected or opens a dialog if it ever runs as markup.
const PAYLOAD =
  '<script>window.__injected="script"</script><img src=x onerror="window.__injected=\'img\';alert(1)">' +
  '"quoted" & \'single\' <b>bold</b> &amp; </td></tr></table><svg onload=alert(2)>';

// Rebuilds packed event-log records (16-byte header with the record length in its first two
// bytes, then a zero-terminated text) with the payload as every text.
function markupRecords(bytes) {
  const out = [];
  const text = Buffer.from(PAYLOAD, 'utf8');
  for (let at = 0; at + 16 <= bytes.length;) {
    const length = bytes[at] | (bytes[at + 1] << 8);
    if (length < 16 || at + length > bytes.length) break;
    const total = 16 + text.length + 1;
    const header = bytes.slice(at, at + 16);
    header[0] = total & 0xff;
    header[1] = total >> 8;
    out.push(...header, ...text, 0);
    at += length;
  }
  return out;
}

function markupProfile(profile) {
  let strings = 0;
  for (const [key, answer] of Object.entries(profile.answers || {})) {
    if (typeof answer.DA === 'string') {
      answer.DA = PAYLOAD;
      strings++;
    } else if (/^0x0B10\b/i.test(key) && answer.DA && Array.isArray(answer.DA.RAW)) {
      const records = markupRecords(answer.DA.RAW);
      if (records.length > 0) answer.DA.RAW = records;
    }
  }
  if (strings === 0) throw new Error('the base profile has no string answers to replace');
  return profile;
}

module.exports = { PAYLOAD, markupProfile };

if (require.main === module) {
  const base = JSON.parse(fs.readFileSync(process.argv[2], 'utf8'));
  process.stdout.write(JSON.stringify(markupProfile(base), null, 1) + '\n');
}
