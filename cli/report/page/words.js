// Marks the words of the worst mistakes. Each word has its effect on the wrong answer (data-w) and
// on the right label (data-r). The strongest word of a text gets the strongest mark.
const wordEffects = {
  both: (word) => Number(word.dataset.w) - Number(word.dataset.r),
  wrong: (word) => Number(word.dataset.w),
  right: (word) => -Number(word.dataset.r),
};
const wordMeanings = {
  both: ["supports the wrong answer more", "supports the right label more"],
  wrong: ["supports the wrong answer", "is against the wrong answer"],
  right: ["is against the right label", "supports the right label"],
};

function markWords(mode) {
  const effect = wordEffects[mode];
  for (const text of document.querySelectorAll(".mistake .text")) {
    const words = [...text.querySelectorAll("span[data-w]")];
    const strongest = Math.max(...words.map((word) => Math.abs(effect(word))), 1e-9);
    for (const word of words) {
      const share = effect(word) / strongest;
      const step = Math.abs(share) < 0.08 ? 0 : Math.min(3, 1 + Math.floor(Math.abs(share) * 3));
      word.className = step === 0 ? "" : (share > 0 ? "w" : "r") + step;
      word.title = `wrong answer ${signed(word.dataset.w)}, right label ${signed(word.dataset.r)}`;
    }
  }
  byId("wave-meaning").textContent = wordMeanings[mode][0];
  byId("line-meaning").textContent = wordMeanings[mode][1];
}

const signed = (number) => (Number(number) > 0 ? "+" : "") + number;
